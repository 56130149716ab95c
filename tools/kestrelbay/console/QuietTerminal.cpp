#include "console/QuietTerminal.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace cli {
namespace {

/** The signals that a person or the system ends or stops a program with. */
constexpr std::array kSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

// For the handlers, which may use nothing else. Set before the first handler is installed.
termios shown{};
termios quiet{};
std::array<struct sigaction, kSignals.size()> before{};
struct sigaction continueBefore {};

void SetHandlers();

/** Async-signal-safe, as POSIX requires of each call here. */
void RestoreAndRaise(int signalNumber) {
  tcsetattr(STDIN_FILENO, TCSANOW, &shown);
  for (std::size_t at = 0; at < kSignals.size(); ++at)
    if (kSignals[at] == signalNumber) sigaction(signalNumber, &before[at], nullptr);
  raise(signalNumber);  // acts when this handler has returned
}

void HideAgain(int) {
  tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  SetHandlers();
}

void SetHandlers() {
  struct sigaction action {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = RestoreAndRaise;
  for (std::size_t at = 0; at < kSignals.size(); ++at) {
    // A shell that runs a program in the background ignores signals for it: that stays.
    if (before[at].sa_handler != SIG_IGN) sigaction(kSignals[at], &action, nullptr);
  }
  action.sa_handler = HideAgain;
  sigaction(SIGCONT, &action, nullptr);
}

/** Drops what was typed before. A signal interrupts that, and its handler may have left the other state. */
void Set(const termios& state) {
  while (tcsetattr(STDIN_FILENO, TCSAFLUSH, &state) == -1 && errno == EINTR) {
  }
}

}  // namespace

QuietTerminal::QuietTerminal() : isQuiet_(tcgetattr(STDIN_FILENO, &shown) == 0) {
  if (!isQuiet_) return;
  quiet = shown;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  for (std::size_t at = 0; at < kSignals.size(); ++at) sigaction(kSignals[at], nullptr, &before[at]);
  sigaction(SIGCONT, nullptr, &continueBefore);
  SetHandlers();
  // The terminal has shown what was typed before.
  Set(quiet);
}

QuietTerminal::~QuietTerminal() {
  if (!isQuiet_) return;
  Set(shown);
  for (std::size_t at = 0; at < kSignals.size(); ++at) sigaction(kSignals[at], &before[at], nullptr);
  sigaction(SIGCONT, &continueBefore, nullptr);
}

}  // namespace cli

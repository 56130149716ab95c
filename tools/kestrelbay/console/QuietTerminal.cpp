#include "console/QuietTerminal.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace cli {
namespace {

/** The signals that a person or the system ends or stops a program with. */
constexpr std::array kSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

// Set before the first handler is installed. A handler uses no other data, and calls only what POSIX lists as
// async-signal-safe.
termios shown{};
termios quiet{};
std::array<struct sigaction, kSignals.size()> before{};
struct sigaction continueBefore {};

/** Whether the handlers hide typing again. Cleared before the terminal is restored. */
volatile std::sig_atomic_t hides = 0;

/** In the background it does nothing: another program has the terminal, and SIGTTOU would stop this one. */
void SetIfInForeground(const termios& state) {
  const pid_t foreground = tcgetpgrp(STDIN_FILENO);  // -1 if this is not the controlling terminal
  if (foreground == -1 || foreground == getpgrp()) tcsetattr(STDIN_FILENO, TCSANOW, &state);
}

void SetHandlers();

void Hide() {
  if (hides == 0) return;
  SetHandlers();
  SetIfInForeground(quiet);
}

void RestoreAndRaise(int signalNumber) {
  const int errnoBefore = errno;
  SetIfInForeground(shown);
  for (std::size_t at = 0; at < kSignals.size(); ++at)
    if (kSignals[at] == signalNumber) sigaction(signalNumber, &before[at], nullptr);
  raise(signalNumber);  // waits, because the handlers block all their signals
  sigset_t raised;
  sigemptyset(&raised);
  sigaddset(&raised, signalNumber);
  pthread_sigmask(SIG_UNBLOCK, &raised, nullptr);
  // Reached when a stopped program continues, and if the system ignores the stop, because no shell could
  // continue the program.
  pthread_sigmask(SIG_BLOCK, &raised, nullptr);
  Hide();
  errno = errnoBefore;
}

void HideAgain(int) {
  const int errnoBefore = errno;
  Hide();
  errno = errnoBefore;
}

void SetHandlers() {
  struct sigaction action {};
  // No handler interrupts another one, and SIGTTOU stops none if another program gets the terminal just now.
  sigemptyset(&action.sa_mask);
  for (const int number : kSignals) sigaddset(&action.sa_mask, number);
  sigaddset(&action.sa_mask, SIGCONT);
  sigaddset(&action.sa_mask, SIGTTOU);
  action.sa_handler = RestoreAndRaise;
  for (std::size_t at = 0; at < kSignals.size(); ++at) {
    // A shell that runs a program in the background ignores signals for it: that stays.
    if (before[at].sa_handler != SIG_IGN) sigaction(kSignals[at], &action, nullptr);
  }
  action.sa_handler = HideAgain;
  sigaction(SIGCONT, &action, nullptr);
}

/** Repeats after a signal, because the handler may have changed the state. */
void Set(const termios& state, int when) {
  while (tcsetattr(STDIN_FILENO, when, &state) == -1 && errno == EINTR) {
  }
}

}  // namespace

QuietTerminal::QuietTerminal() : isQuiet_(tcgetattr(STDIN_FILENO, &shown) == 0) {
  if (!isQuiet_) return;
  quiet = shown;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  for (std::size_t at = 0; at < kSignals.size(); ++at) sigaction(kSignals[at], nullptr, &before[at]);
  sigaction(SIGCONT, nullptr, &continueBefore);
  hides = 1;
  SetHandlers();
  // Unread input is dropped, because the terminal has shown it.
  Set(quiet, TCSAFLUSH);
}

QuietTerminal::~QuietTerminal() {
  if (!isQuiet_) return;
  hides = 0;
  Set(shown, TCSAFLUSH);
  for (std::size_t at = 0; at < kSignals.size(); ++at) sigaction(kSignals[at], &before[at], nullptr);
  sigaction(SIGCONT, &continueBefore, nullptr);
}

void QuietTerminal::HideAgain() const {
  if (isQuiet_) Set(quiet, TCSANOW);
}

}  // namespace cli

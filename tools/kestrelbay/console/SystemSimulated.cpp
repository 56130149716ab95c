#include <fcntl.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <filesystem>
#include <system_error>
#include <thread>

#include "console/Failure.h"
#include "console/Progress.h"
#include "console/System.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/directory/MachineDirectory.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBetweenLooks(20);

volatile std::sig_atomic_t wasInterrupted = 0;

int Descriptor(Stream stream) { return stream == Stream::Out ? STDOUT_FILENO : STDERR_FILENO; }

/** A stream closed by the caller would be the next file that is opened: output must not end in that. */
void OccupyStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // Opened the wrong way round, so that using it fails as it would have failed closed.
    const int mode = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", mode);
  }
}

/**
 * A command lasts some milliseconds, of which a part would go into asking the system for memory and giving it
 * back: what was used once is kept for what comes next, and all threads take from the same.
 */
void KeepMemory() {
  constexpr int kKeptBytes = 64 << 20;
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, kKeptBytes / 2);
  mallopt(M_TRIM_THRESHOLD, kKeptBytes);
  mallopt(M_TOP_PAD, 1 << 20);
}

fs::path SampleDirectory() {
  return (fs::read_symlink("/proc/self/exe").parent_path() / "../share/kestrelbay/desk").lexically_normal();
}

simulated::VolumeOptions volumeOptions;

void UseMachine(const fs::path& directory, simulated::Changes changes, const LoadObserver& observer) {
  try {
    simulated::UseMachine(simulated::OpenMachine(
        directory, changes, {observer.progress, observer.warning, observer.damage}, volumeOptions));
  } catch (const simulated::MachineError& error) {
    throw Failure(error.what());
  }
}

constexpr std::size_t kMostInputBytes = 1 << 20;
/** What a terminal takes in one line. */
constexpr std::size_t kMostLineBytes = 4096;

/** @return how many bytes came; 0 at the end of standard input */
std::size_t ReadSome(char* bytes, std::size_t room) {
  while (true) {
    const ssize_t count = read(STDIN_FILENO, bytes, room);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) {
      throw Failure("cannot read standard input: " + std::generic_category().message(errno) +
                    "; send it from another place");
    }
  }
}

/** As long as it lives, the terminal of standard input shows nothing of what is typed. */
class QuietTerminal {
 public:
  explicit QuietTerminal(bool isWanted) : isQuiet(isWanted && tcgetattr(STDIN_FILENO, &before) == 0) {
    termios quiet = before;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (isQuiet) tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  ~QuietTerminal() {
    if (isQuiet) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  }
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

 private:
  termios before{};
  const bool isQuiet;
};

}  // namespace

std::vector<std::string> Start(int argc, char** argv) {
  KeepMemory();
  OccupyStandardDescriptors();
  // A pipe that nobody reads is told by write, which leaves a change in hand to be finished.
  std::signal(SIGPIPE, SIG_IGN);
  return {argv + std::min(argc, 1), argv + argc};
}

bool IsTerminal(Stream stream) { return isatty(Descriptor(stream)) == 1; }

bool CanColour(Stream) {
  const char* kind = std::getenv("TERM");
  return kind != nullptr && *kind != '\0' && std::strcmp(kind, "dumb") != 0;
}

int TerminalColumns() {
  winsize size{};
  const bool isTold = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isTold ? size.ws_col : kUsualColumns;
}

WriteResult Write(Stream stream, std::string_view bytes, std::string& reason) {
  while (!bytes.empty()) {
    const ssize_t written = write(Descriptor(stream), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      return WriteResult::ReaderGone;
    } else if (errno != EINTR) {
      reason = std::generic_category().message(errno);
      return WriteResult::Failed;
    }
  }
  return WriteResult::Done;
}

bool IsInputTerminal() { return isatty(STDIN_FILENO) == 1; }

std::string AskLine(const std::string& question, Typing typing) {
  // Before the question: what is typed the moment it shows would be shown as well, or dropped.
  const QuietTerminal quiet(typing == Typing::Hidden);
  std::string reason;
  Write(Stream::Error, question, reason);
  std::string line;
  line.reserve(kMostLineBytes);  // growing would leave a secret behind
  for (char byte = 0; ReadSome(&byte, 1) == 1 && byte != '\n';) line += byte;
  if (typing == Typing::Hidden) Write(Stream::Error, "\n", reason);
  return line;
}

std::string ReadInput() {
  // One block, which is never moved: a secret must not be left behind by growing.
  std::string bytes(kMostInputBytes + 1, '\0');
  std::size_t count = 0;
  while (const std::size_t more = ReadSome(&bytes[count], bytes.size() - count)) {
    count += more;
    if (count > kMostInputBytes) throw Failure("standard input is longer than a mebibyte; send less");
  }
  bytes.resize(count);
  return bytes;
}

std::string FromAnsi(std::string_view text) { return std::string(text); }

char32_t ToLower(char32_t character) {
  // The process's own locale stays "C", which the library's texts depend on.
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (unicode == locale_t{}) return character;
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), unicode));
}

void OpenMachine(const std::optional<std::string>& directory, const LoadObserver& observer) {
  if (directory) {
    UseMachine(*directory, simulated::Changes::Lasting, observer);
  } else {
    UseMachine(SampleDirectory(), simulated::Changes::Discarded, observer);
  }
}

void OpenMachineToRead(const std::string& directory, const LoadObserver& observer) {
  UseMachine(directory, simulated::Changes::Discarded, observer);
}

void SetVolumeOptions(VolumeOptions options) {
  volumeOptions.recovery = options.recovers ? simulated::Recovery::Applied : simulated::Recovery::NotApplied;
  volumeOptions.user = std::move(options.user);
}

std::optional<VolumeDescription> DescribeVolume() {
  const auto& facts = simulated::CurrentMachine().volume;
  if (!facts) return std::nullopt;
  VolumeDescription volume{simulated::ToUtf8(facts->windows), facts->is32Bit, {}};
  for (const simulated::HiveFacts& hive : facts->hives)
    if (hive.recoveredEntries > 0 || !hive.loss.empty())
      volume.recovered.push_back(
          {simulated::ToUtf8(hive.key), hive.recoveredEntries, hive.newestChange, hive.loss});
  return volume;
}

void CatchInterrupt() {
  struct sigaction action {};
  action.sa_handler = [](int) { wasInterrupted = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
}

bool WasInterrupted() { return wasInterrupted != 0; }

std::string WriteProblem() {
  const simulated::Machine* const machine = simulated::CurrentMachineOrNull();
  return machine ? machine->WriteProblem() : std::string();
}

void LeaveMachine() {
  std::signal(SIGINT, SIG_DFL);
  simulated::Machine* const machine = simulated::CurrentMachineOrNull();
  if (!machine) return;
  Progress progress("Programs still run on the machine (Ctrl-C ends them)");
  while (machine->programs.RunningCount() > 0) {
    std::this_thread::sleep_for(kBetweenLooks);
    progress.UpdateTime();
  }
}

}  // namespace cli

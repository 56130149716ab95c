#include <fcntl.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>

#include "console/Failure.h"
#include "console/Progress.h"
#include "console/QuietTerminal.h"
#include "console/SecretText.h"
#include "console/System.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/directory/GroupedChanges.h"
#include "simulated/directory/MachineDirectory.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBetweenLooks(20);

volatile std::sig_atomic_t wasInterrupted = 0;

int Descriptor(Stream stream) { return stream == Stream::Out ? STDOUT_FILENO : STDERR_FILENO; }

/**
 * Opens the standard streams that the caller has closed. Otherwise the next file that is opened would get the
 * number of such a stream, and output would be written into that file.
 */
void OccupyStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // Opened for the wrong direction, so that using the stream still fails.
    const int mode = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", mode);
  }
}

/**
 * Makes malloc keep freed memory for reuse and use one arena. A command lasts some milliseconds, and asking
 * the system for memory and returning it would take a measurable part of them.
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

void UseMachine(const fs::path& directory, simulated::Changes changes, const LoadWarning& warn) {
  // Shared, because a machine also warns of damage when a key is first used.
  const auto progress = std::make_shared<Progress>("Reading the machine");
  const auto warnOf = [&](bool isDamage) {
    return [progress, warn, isDamage](const std::string& line) {
      progress->Erase();
      warn(line, isDamage);
    };
  };
  const auto update = [progress](std::uint64_t done, std::uint64_t all) { progress->Update(done, all); };
  try {
    simulated::UseMachine(
        simulated::OpenMachine(directory, changes, {update, warnOf(false), warnOf(true)}, volumeOptions));
  } catch (const simulated::MachineError& error) {
    throw Failure(error.what());
  }
  progress->Erase();
}

/**
 * @param terminal  hides typing again after each signal; may be null
 * @return the count of the bytes read; 0 at the end of standard input
 * @throws Failure
 */
std::size_t ReadSome(char* bytes, std::size_t room, const QuietTerminal* terminal = nullptr) {
  while (true) {
    const ssize_t count = read(STDIN_FILENO, bytes, room);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) {
      throw Failure("cannot read standard input: " + std::generic_category().message(errno) +
                    "; pipe or redirect the text from another source");
    }
    if (terminal) terminal->HideAgain();
  }
}

}  // namespace

std::vector<std::string> Start(int argc, char** argv) {
  KeepMemory();
  OccupyStandardDescriptors();
  // write() reports a closed pipe instead, so that a change of the machine is finished first.
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
  const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kUsualColumns;
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

std::string AskLine(const std::string& question) {
  std::string reason;
  Write(Stream::Error, question, reason);
  std::string line;
  for (char byte = 0; ReadSome(&byte, 1) == 1 && byte != '\n';) line += byte;
  return line;
}

void AskSecret(const std::string& question, SecretText& secret) {
  // Before the question, because a person may type as soon as the question shows.
  const QuietTerminal terminal;
  std::string reason;
  Write(Stream::Error, question, reason);
  std::size_t count = 0;
  char byte = 0;
  while (ReadSome(&byte, 1, &terminal) == 1 && byte != '\n') {
    if (count < secret.Capacity()) secret.Data()[count++] = byte;
  }
  Wipe(&byte, 1);
  secret.Resize(count);
  Write(Stream::Error, "\n", reason);
}

bool ReadInput(SecretText& secret) {
  std::size_t count = 0;
  while (count < secret.Capacity()) {
    const std::size_t more = ReadSome(secret.Data() + count, secret.Capacity() - count);
    if (more == 0) break;
    count += more;
  }
  secret.Resize(count);
  char byte = 0;
  return count < secret.Capacity() || ReadSome(&byte, 1) == 0;
}

void Wipe(void* bytes, std::size_t count) { explicit_bzero(bytes, count); }

std::FILE* CreateNewFile(const fs::path& path, bool isPrivate) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, isPrivate ? 0600 : 0666);
  return descriptor == -1 ? nullptr : fdopen(descriptor, "wb");
}

std::string FromAnsi(std::string_view text) { return std::string(text); }

char32_t ToLower(char32_t character) {
  // The locale of the process stays "C", because the library's texts depend on it.
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (unicode == locale_t{}) return character;
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(character), unicode));
}

void OpenMachine(const std::optional<std::string>& directory, const LoadWarning& warn) {
  if (directory) {
    UseMachine(*directory, simulated::Changes::Lasting, warn);
  } else {
    UseMachine(SampleDirectory(), simulated::Changes::Discarded, warn);
  }
}

void OpenMachineToRead(const std::string& directory, const LoadWarning& warn) {
  UseMachine(directory, simulated::Changes::Discarded, warn);
}

void SetVolumeOptions(VolumeOptions options) {
  volumeOptions.recovery = options.recovers ? simulated::Recovery::Applied : simulated::Recovery::NotApplied;
  volumeOptions.user = std::move(options.user);
}

std::optional<VolumeDescription> DescribeVolume() {
  simulated::Machine& machine = simulated::CurrentMachine();
  // The damage of a hive is found when its keys are read, which happens under this lock.
  const std::lock_guard guard(machine.registry.Lock());
  const auto& facts = machine.volume;
  if (!facts) return std::nullopt;
  VolumeDescription volume{simulated::ToUtf8(facts->windows), facts->is32Bit, {}, facts->damage};
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

void GroupChanges(const std::function<void()>& action) {
  simulated::GroupChanges(simulated::CurrentMachine(), action);
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

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Failure.h"
#include "Host.h"
#include "simulated/MachineDirectory.h"

namespace host {
namespace {

namespace fs = std::filesystem;

int Descriptor(Stream stream) { return stream == Stream::Out ? STDOUT_FILENO : STDERR_FILENO; }

/** A stream closed by the caller would be the next file that is opened: output must not end in that. */
void OccupyStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // Opened the wrong way round, so that using it fails as it would have failed closed.
    const int mode = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", mode);
  }
}

fs::path SampleDirectory() {
  return (fs::read_symlink("/proc/self/exe").parent_path() / "../share/kestrelbay/desk").lexically_normal();
}

}  // namespace

std::vector<std::string> Start(int argc, char** argv) {
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
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
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

std::string FromAnsi(std::string_view text) { return std::string(text); }

void OpenMachine(const std::optional<std::string>& directory, const LoadObserver& observer) {
  const simulated::LoadObserver told{observer.progress, observer.warning};
  try {
    simulated::Machine::Use(
        directory ? simulated::OpenMachine(*directory, simulated::Changes::Lasting, told)
                  : simulated::OpenMachine(SampleDirectory(), simulated::Changes::Discarded, told));
  } catch (const simulated::MachineError& error) {
    throw Failure(error.what());
  }
}

}  // namespace host

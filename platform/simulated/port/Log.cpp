#include "platform/Log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>

#include "simulated/base/FileDescriptor.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

/** The machine's time of day, as 2031-05-07T09:08:07.123Z. */
std::string TimeText(const Clock& clock) {
  constexpr std::uint64_t kUnixEpochMs = 11644473600000;
  constexpr std::uint64_t kFileTimePerMs = 10000;
  const std::uint64_t unixMs = clock.Now() / kFileTimePerMs - kUnixEpochMs;
  const auto seconds = static_cast<std::time_t>(unixMs / 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  const std::string ms = std::to_string(1000 + unixMs % 1000);
  return text + ("." + ms.substr(1)) + "Z";
}

FileDescriptor OpenLogFile() {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
  const char* const named = std::getenv("KESTRELBAY_LOG_FILE");
  if (named && *named) return FileDescriptor(open(named, kFlags, 0666));
  // The temporary folder belongs to all users. Any of them could put a link there that leads elsewhere.
  const auto path = std::filesystem::temp_directory_path() / "KestrelbayGeneral.log";
  return FileDescriptor(open(path.c_str(), kFlags | O_NOFOLLOW, 0666));
}

/** Opens the file anew for each record, so that it may be moved away at any time. */
void AppendToLogFile(const std::string& line) {
  const int error = errno;
  const FileDescriptor file = OpenLogFile();
  // One write appends the line whole, also if other threads or processes write to the file. A line that
  // cannot be written is dropped: a log must not stop the program.
  if (file) static_cast<void>(!write(file.Get(), line.data(), line.size()));
  errno = error;
}

void Record(const char* operation, char level, const char* file, const char* format) noexcept try {
  Machine& machine = CurrentMachine();
  Perform(
      &machine, operation, [&](Arguments& arguments) { arguments.Text(file).Text(format); },
      [&] {
        if (machine.AddLogRecord({level, file, format})) return;
        AppendToLogFile(TimeText(machine.clock) + ' ' + level + ' ' + file + ' ' + format + '\n');
      });
} catch (const std::exception&) {
  // Lack of memory, or no temporary folder: the record is dropped.
}

}  // namespace
}  // namespace simulated

namespace platform {

void QVSLOGD(const char* file, const char* format) { simulated::Record("QVSLOGD", 'D', file, format); }
void QVSLOGI(const char* file, const char* format) { simulated::Record("QVSLOGI", 'I', file, format); }
void QVSLOGW(const char* file, const char* format) { simulated::Record("QVSLOGW", 'W', file, format); }
void QVSLOGE(const char* file, const char* format) { simulated::Record("QVSLOGE", 'E', file, format); }

}  // namespace platform

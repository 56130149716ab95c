#include "base/SDKLog.h"

#include "platform/Log.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "SDKLog";
constexpr std::int32_t kFormatFailureLine = 79;  // prescribed: hosts know this failure by its line

// By design log.dll receives the format unexpanded, and neither function nor line. It has no function for
// other levels, so such a record is dropped.
void LogToDll(std::int32_t level, const char* file, const char* format) {
  switch (level) {
    case kLogDebug:
      return platform::QVSLOGD(file, format);
    case kLogInfo:
      return platform::QVSLOGI(file, format);
    case kLogWarning:
      return platform::QVSLOGW(file, format);
    case kLogError:
      return platform::QVSLOGE(file, format);
    default:
      return;
  }
}

int FormattedLength(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = platform::_vscprintf(format, again);
  va_end(again);
  return length;
}

}  // namespace

SDKLog& SDKLog::GetInstance() {
  static SDKLog instance;
  return instance;
}

void SDKLog::Log(std::int32_t level, const char* file, const char* function, std::int32_t line,
                 const char* format, ...) {
  // Held during the host's callback too, so that records of two threads never interleave. That is why a
  // callback must not call an export that logs.
  const std::lock_guard<std::mutex> held(lock_);
  if (useLogDll) return LogToDll(level, file, format);
  // The destructor calls va_end also when an exception leaves. A catch clause would do it too, but the
  // library has none: an exception on a worker must end the process where it was thrown.
  struct Arguments {
    va_list list;
    ~Arguments() { va_end(list); }
  } arguments;
  va_start(arguments.list, format);
  LogLine(level, file, function, line, format, arguments.list);
}

void SDKLog::LogLine(std::int32_t level, const char* file, const char* function, std::int32_t line,
                     const char* format, va_list arguments) {
  std::string text = function;
  text.append(":").append(std::to_string(line)).append(" ").append(Format(format, arguments));
  // Not checked for null: a host must call InitDllLogger before everything else.
  logCallback(file, level, text.c_str());
}

std::string SDKLog::Format(const char* format, va_list arguments) {
  // Measured first, because a message has no length limit.
  const int length = FormattedLength(format, arguments);
  if (length <= 0) return {};
  // The NUL of vsprintf_s overwrites that of std::string.
  std::string message(static_cast<std::size_t>(length), '\0');
  if (platform::vsprintf_s(message.data(), message.size() + 1, format, arguments) < 0) {
    // Deadlocks by design: Log() takes the lock that this thread already holds.
    Log(kLogError, kFile, "Format", kFormatFailureLine, "vsprintf_s error return value!");
    return {};
  }
  return message;
}

}  // namespace kestrelbay

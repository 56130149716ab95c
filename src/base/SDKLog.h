/**
 * The one logging point of the library.
 *
 * A record goes either to the host's callback or, unexpanded, to log.dll. There is no default: logging before
 * InitDllLogger has run calls a null callback.
 */
#pragma once

#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>

#include "KestrelbayGeneralSDK.h"
#include "base/OwningMutex.h"

namespace kestrelbay {

/** Levels of a record. The library itself logs only information and errors. */
enum LogLevel : std::int32_t { kLogDebug = 2, kLogInfo = 3, kLogWarning = 4, kLogError = 5 };

/** Where a record comes from, for code that logs on behalf of its caller. */
struct LogSite {
  const char* file;
  const char* function;
  std::int32_t line;
};

class SDKLog {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static SDKLog& GetInstance();
  virtual ~SDKLog() = default;

  /**
   * Writes one record; blocks while another thread's record is written, the host's callback included.
   * @param level     as it reaches the host; log.dll is called for 2 to 5 alone
   * @param file      source file name, without directory or ending
   * @param function  bare function name
   * @param line      source line
   * @param format    printf-style, with Windows' conversions
   */
  void Log(std::int32_t level, const char* file, const char* function, std::int32_t line, const char* format,
           ...);

  /** Expands a format. @return the text, empty where it comes to nothing or cannot be formatted */
  std::string Format(const char* format, va_list arguments);

  /** InitDllLogger writes these two, without the lock. */
  bool useLogDll = false;
  LogCallback logCallback = nullptr;

 private:
  SDKLog() = default;

  void LogLine(std::int32_t level, const char* file, const char* function, std::int32_t line,
               const char* format, va_list arguments);

  /** Not recursive, by design. */
  OwningMutex<std::mutex> lock_;
};

}  // namespace kestrelbay

/** Logs with the place of the call; the first argument behind the file is the format. */
#define SDK_LOG(level, file, ...) \
  ::kestrelbay::SDKLog::GetInstance().Log(level, file, __func__, __LINE__, __VA_ARGS__)

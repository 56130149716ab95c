/**
 * The log of the library.
 *
 * A record goes to the host's callback, or with its format unexpanded to log.dll. Logging before
 * InitDllLogger calls a null pointer.
 */
#pragma once

#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <string>

#include "KestrelbayGeneralSDK.h"
#include "base/OwningMutex.h"

namespace kestrelbay {

/** Levels of a record. The library logs only information and errors. */
enum LogLevel : std::int32_t { kLogDebug = 2, kLogInfo = 3, kLogWarning = 4, kLogError = 5 };

/** The source line of a record, for a function that logs on behalf of its caller. */
struct LogSite {
  const char* file;
  const char* function;
  std::int32_t line;
};

class SDKLog {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static SDKLog& GetInstance();
  virtual ~SDKLog() = default;

  /**
   * Writes one record. Blocks while another thread logs, including the host's callback.
   * @param level     passed to the host unchanged; log.dll receives only levels 2 to 5
   * @param file      source file name, without directory or ending
   * @param function  bare function name
   * @param line      source line
   * @param format    printf-style, with Windows' conversions
   */
  void Log(std::int32_t level, const char* file, const char* function, std::int32_t line, const char* format,
           ...);

  /** Expands a format. @return the text; empty on failure */
  std::string Format(const char* format, va_list arguments);

  /** InitDllLogger writes these two without the lock, by design. */
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

/** Logs with function and line of the call. The argument after `file` is the format. */
#define SDK_LOG(level, file, ...) \
  ::kestrelbay::SDKLog::GetInstance().Log(level, file, __func__, __LINE__, __VA_ARGS__)

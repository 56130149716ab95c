#include "log/log.h"

#include <windows.h>

#include <cstdio>
#include <exception>
#include <string>

namespace {

constexpr DWORD kMaxPathChars = 32768;

std::wstring LogPath() {
  std::wstring path(kMaxPathChars, L'\0');
  path.resize(GetEnvironmentVariableW(L"KESTRELBAY_LOG_FILE", path.data(), kMaxPathChars));
  if (!path.empty()) return path;
  path.resize(MAX_PATH + 1);
  path.resize(GetTempPathW(MAX_PATH + 1, path.data()));
  return path + L"KestrelbayGeneral.log";
}

std::string Now() {
  SYSTEMTIME time;
  GetSystemTime(&time);
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", time.wYear, time.wMonth, time.wDay,
                time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return text;
}

SRWLOCK oneAtATime = SRWLOCK_INIT;

void Append(const std::wstring& path, const std::string& line) {
  // With only FILE_APPEND_DATA, Windows writes at the end of the file, even after writes of other processes.
  // The lock is for this process: on some systems finding the end and writing there are two steps.
  AcquireSRWLockExclusive(&oneAtATime);
  HANDLE file =
      CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    DWORD written = 0;
    WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(file);
  }
  ReleaseSRWLockExclusive(&oneAtATime);
}

void Record(char level, const char* file, const char* format) noexcept {
  const DWORD lastError = GetLastError();
  try {
    Append(LogPath(), Now() + ' ' + level + ' ' + (file ? file : "") + ' ' + (format ? format : "") + '\n');
  } catch (const std::exception&) {
    // Ignored by design: a log must never stop the program.
  }
  SetLastError(lastError);
}

}  // namespace

void QVSLOGD(const char* file, const char* format, ...) { Record('D', file, format); }
void QVSLOGI(const char* file, const char* format, ...) { Record('I', file, format); }
void QVSLOGW(const char* file, const char* format, ...) { Record('W', file, format); }
void QVSLOGE(const char* file, const char* format, ...) { Record('E', file, format); }

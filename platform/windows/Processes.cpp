#include "platform/Processes.h"

#include <windows.h>

#include <shellapi.h>

#include <cstddef>

#include "Casts.h"

namespace platform {
namespace {

// Records pass through as they are, so each field must lie where Windows has it.
#define CHECK_RECORD(record) static_assert(sizeof(record) == sizeof(::record), #record);
#define CHECK_FIELD(record, field)                                      \
  static_assert(offsetof(record, field) == offsetof(::record, field) && \
                    sizeof(record::field) == sizeof(::record::field),   \
                #record "." #field);

CHECK_RECORD(STARTUPINFOW)
CHECK_FIELD(STARTUPINFOW, cb)
CHECK_FIELD(STARTUPINFOW, lpReserved)
CHECK_FIELD(STARTUPINFOW, lpDesktop)
CHECK_FIELD(STARTUPINFOW, lpTitle)
CHECK_FIELD(STARTUPINFOW, dwX)
CHECK_FIELD(STARTUPINFOW, dwY)
CHECK_FIELD(STARTUPINFOW, dwXSize)
CHECK_FIELD(STARTUPINFOW, dwYSize)
CHECK_FIELD(STARTUPINFOW, dwXCountChars)
CHECK_FIELD(STARTUPINFOW, dwYCountChars)
CHECK_FIELD(STARTUPINFOW, dwFillAttribute)
CHECK_FIELD(STARTUPINFOW, dwFlags)
CHECK_FIELD(STARTUPINFOW, wShowWindow)
CHECK_FIELD(STARTUPINFOW, cbReserved2)
CHECK_FIELD(STARTUPINFOW, lpReserved2)
CHECK_FIELD(STARTUPINFOW, hStdInput)
CHECK_FIELD(STARTUPINFOW, hStdOutput)
CHECK_FIELD(STARTUPINFOW, hStdError)

CHECK_RECORD(PROCESS_INFORMATION)
CHECK_FIELD(PROCESS_INFORMATION, hProcess)
CHECK_FIELD(PROCESS_INFORMATION, hThread)
CHECK_FIELD(PROCESS_INFORMATION, dwProcessId)
CHECK_FIELD(PROCESS_INFORMATION, dwThreadId)

CHECK_RECORD(SHELLEXECUTEINFOW)
CHECK_FIELD(SHELLEXECUTEINFOW, cbSize)
CHECK_FIELD(SHELLEXECUTEINFOW, fMask)
CHECK_FIELD(SHELLEXECUTEINFOW, hwnd)
CHECK_FIELD(SHELLEXECUTEINFOW, lpVerb)
CHECK_FIELD(SHELLEXECUTEINFOW, lpFile)
CHECK_FIELD(SHELLEXECUTEINFOW, lpParameters)
CHECK_FIELD(SHELLEXECUTEINFOW, lpDirectory)
CHECK_FIELD(SHELLEXECUTEINFOW, nShow)
CHECK_FIELD(SHELLEXECUTEINFOW, hInstApp)
CHECK_FIELD(SHELLEXECUTEINFOW, lpIDList)
CHECK_FIELD(SHELLEXECUTEINFOW, lpClass)
CHECK_FIELD(SHELLEXECUTEINFOW, hkeyClass)
CHECK_FIELD(SHELLEXECUTEINFOW, dwHotKey)
CHECK_FIELD(SHELLEXECUTEINFOW, hIcon)
CHECK_FIELD(SHELLEXECUTEINFOW, hProcess)

}  // namespace

BOOL CreateProcessW(const char16_t* application, char16_t* commandLine, void* processAttributes,
                    void* threadAttributes, BOOL inheritHandles, DWORD creationFlags, void* environment,
                    const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                    PROCESS_INFORMATION* information) {
  return ::CreateProcessW(Wide(application), Wide(commandLine),
                          static_cast<SECURITY_ATTRIBUTES*>(processAttributes),
                          static_cast<SECURITY_ATTRIBUTES*>(threadAttributes), inheritHandles, creationFlags,
                          environment, Wide(currentDirectory), reinterpret_cast<::STARTUPINFOW*>(startupInfo),
                          reinterpret_cast<::PROCESS_INFORMATION*>(information));
}

BOOL ShellExecuteExW(SHELLEXECUTEINFOW* execute) {
  return ::ShellExecuteExW(reinterpret_cast<::SHELLEXECUTEINFOW*>(execute));
}

DWORD GetLastError() { return ::GetLastError(); }

}  // namespace platform

/** Starting programs. */
#pragma once

#include "platform/Types.h"

namespace platform {

/** The options of the first window of a new process; with the layout of Windows. */
struct STARTUPINFOW {
  DWORD cb;
  char16_t* lpReserved;
  char16_t* lpDesktop;
  char16_t* lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  BYTE* lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
static_assert(sizeof(STARTUPINFOW) == 104);

/** The handles and numbers of a new process and its first thread. */
struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};
static_assert(sizeof(PROCESS_INFORMATION) == 24);

/** A start request to the shell; with the layout of Windows. */
struct SHELLEXECUTEINFOW {
  DWORD cbSize;
  DWORD fMask;
  HANDLE hwnd;
  const char16_t* lpVerb;
  const char16_t* lpFile;
  const char16_t* lpParameters;
  const char16_t* lpDirectory;
  int nShow;
  HANDLE hInstApp;
  void* lpIDList;
  const char16_t* lpClass;
  HKEY hkeyClass;
  DWORD dwHotKey;
  HANDLE hIcon;
  HANDLE hProcess;
};
static_assert(sizeof(SHELLEXECUTEINFOW) == 112);

/**
 * Starts a program by its command line.
 * @param application     null: the program is the command line's first word
 * @param commandLine     null-terminated and writable
 * @param information     receives two handles that CloseHandle closes
 * @return 0 on failure, with the last error set: ERROR_FILE_NOT_FOUND (2) if there is no such program
 */
BOOL CreateProcessW(const char16_t* application, char16_t* commandLine, void* processAttributes,
                    void* threadAttributes, BOOL inheritHandles, DWORD creationFlags, void* environment,
                    const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                    PROCESS_INFORMATION* information);

/**
 * Starts a program through the shell; the verb "runas" asks for elevation first.
 * @param execute  with SEE_MASK_NOCLOSEPROCESS its hProcess receives a handle that CloseHandle closes, or
 * null if the shell started no new process
 * @return 0 on failure, with the last error set: ERROR_CANCELLED (1223) if elevation was refused
 */
BOOL ShellExecuteExW(SHELLEXECUTEINFOW* execute);

/** The calling thread's last error number. */
DWORD GetLastError();

}  // namespace platform

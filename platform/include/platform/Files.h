/** Files, and where the host runs. */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Asks whether a file or directory may be accessed.
 * @param path  null-terminated; relative to the current directory, backslashes or slashes, any case
 * @param mode  0 checks only the existence
 * @return 0 when it is there, otherwise -1
 */
int _waccess(const char16_t* path, int mode);

/**
 * The current directory in the system's ANSI code page, without a trailing backslash but in a drive's root.
 * @return length without the NUL; the size needed, NUL included, when `bufferBytes` is too small; 0 on
 * failure
 */
DWORD GetCurrentDirectoryA(DWORD bufferBytes, char* buffer);

/**
 * The path of the running program's executable, in the system's ANSI code page.
 * @param module  null: the program, not this library
 * @return bytes written without the NUL, `bufferBytes` when the path was cut to fit; 0 on failure
 */
DWORD GetModuleFileNameA(HANDLE module, char* buffer, DWORD bufferBytes);

/**
 * The free space of a drive.
 * @param directory     any directory on it; slashes and backslashes alike
 * @param freeToCaller  receives the bytes free to the caller
 * @param total         receives the drive's bytes
 * @param totalFree     receives the drive's free bytes
 * @return 0 on failure, for a drive that is not there
 */
BOOL GetDiskFreeSpaceExW(const char16_t* directory, std::uint64_t* freeToCaller, std::uint64_t* total,
                         std::uint64_t* totalFree);

}  // namespace platform

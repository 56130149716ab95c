/** Files, and the directories of the host. */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Asks whether a file or directory may be accessed.
 * @param path  null-terminated; relative to the current directory, backslashes or slashes, any case
 * @param mode  0 checks only the existence
 * @return 0 if it exists, otherwise -1
 */
int _waccess(const char16_t* path, int mode);

/**
 * Returns the current directory in the system's ANSI code page. Only the root of a drive ends in a backslash.
 * @return length without the NUL; the required size, NUL included, if `bufferBytes` is too small; 0 on
 * failure
 */
DWORD GetCurrentDirectoryA(DWORD bufferBytes, char* buffer);

/**
 * Returns the path of the running program's executable, in the system's ANSI code page.
 * @param module  null: the program, not this library
 * @return bytes written without the NUL, `bufferBytes` if the path was cut; 0 on failure
 */
DWORD GetModuleFileNameA(HANDLE module, char* buffer, DWORD bufferBytes);

/**
 * Returns the free space of a drive.
 * @param directory     any directory on it, with slashes or backslashes
 * @param freeToCaller  receives the bytes free to the caller
 * @param total         receives the drive's bytes
 * @param totalFree     receives the drive's free bytes
 * @return 0 on failure, as for a missing drive
 */
BOOL GetDiskFreeSpaceExW(const char16_t* directory, std::uint64_t* freeToCaller, std::uint64_t* total,
                         std::uint64_t* totalFree);

}  // namespace platform

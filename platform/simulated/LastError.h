/** The calling thread's last error number, as GetLastError tells it. */
#pragma once

#include "platform/Types.h"

namespace simulated {

void SetLastError(platform::DWORD lastError);

// Windows' numbers of what goes wrong on this machine.
inline constexpr platform::DWORD kFileNotFound = 2;
inline constexpr platform::DWORD kPathNotFound = 3;
inline constexpr platform::DWORD kAccessDenied = 5;
inline constexpr platform::DWORD kInvalidHandle = 6;
inline constexpr platform::DWORD kNotEnoughMemory = 8;
inline constexpr platform::DWORD kInvalidData = 13;
inline constexpr platform::DWORD kNotSupported = 50;
inline constexpr platform::DWORD kInvalidParameter = 87;
inline constexpr platform::DWORD kInsufficientBuffer = 122;
inline constexpr platform::DWORD kBadPathName = 161;
inline constexpr platform::DWORD kNameTooLong = 206;
inline constexpr platform::DWORD kAlreadyExists = 183;
inline constexpr platform::DWORD kFileNameTooLong = 206;
inline constexpr platform::DWORD kMoreData = 234;
inline constexpr platform::DWORD kDirectory = 267;
inline constexpr platform::DWORD kNoMoreItems = 259;
inline constexpr platform::DWORD kInvalidFlags = 1004;
inline constexpr platform::DWORD kKeyDeleted = 1018;
inline constexpr platform::DWORD kNoAssociation = 1155;
inline constexpr platform::DWORD kCancelled = 1223;
inline constexpr platform::DWORD kInvalidCursorHandle = 1402;
inline constexpr platform::DWORD kNoSystemResources = 1450;
inline constexpr platform::DWORD kBadKeyState = 0x8009000B;

}  // namespace simulated

/** Numbers of Windows that platform/Constants.h lacks, because the product does not need them. */
#pragma once

#include "platform/Constants.h"

namespace simulated {

// Error numbers, as GetLastError returns them.
inline constexpr platform::DWORD kFileNotFound = 2;
inline constexpr platform::DWORD kPathNotFound = 3;
inline constexpr platform::DWORD kAccessDenied = 5;
inline constexpr platform::DWORD kInvalidHandle = 6;
inline constexpr platform::DWORD kNotEnoughMemory = 8;
inline constexpr platform::DWORD kInvalidData = 13;
inline constexpr platform::DWORD kWriteFault = 29;
inline constexpr platform::DWORD kNotSupported = 50;
inline constexpr platform::DWORD kInvalidParameter = 87;
inline constexpr platform::DWORD kDiskFull = 112;
inline constexpr platform::DWORD kInsufficientBuffer = 122;
inline constexpr platform::DWORD kBadPathName = 161;
inline constexpr platform::DWORD kAlreadyExists = 183;
inline constexpr platform::DWORD kBadExeFormat = 193;
inline constexpr platform::DWORD kNameTooLong = 206;
inline constexpr platform::DWORD kMoreData = 234;
inline constexpr platform::DWORD kDirectory = 267;
inline constexpr platform::DWORD kInvalidFlags = 1004;
inline constexpr platform::DWORD kKeyDeleted = 1018;
inline constexpr platform::DWORD kNoAssociation = 1155;
inline constexpr platform::DWORD kCancelled = 1223;
inline constexpr platform::DWORD kInvalidCursorHandle = 1402;
inline constexpr platform::DWORD kNoSystemResources = 1450;
inline constexpr platform::DWORD kBadKeyState = 0x8009000B;

/** The same number as a status of the registry. */
constexpr platform::LSTATUS Status(platform::DWORD error) { return static_cast<platform::LSTATUS>(error); }

// Error results of COM.
inline constexpr auto kNoInterfaceResult = static_cast<platform::HRESULT>(0x80004002);
inline constexpr auto kFailedResult = static_cast<platform::HRESULT>(0x80004005);
inline constexpr auto kNoObjectResult = static_cast<platform::HRESULT>(0x800401E5);
inline constexpr auto kFileNotFoundResult = static_cast<platform::HRESULT>(0x80070002);
inline constexpr auto kOutOfMemoryResult = static_cast<platform::HRESULT>(0x8007000E);
inline constexpr auto kInvalidArgumentResult = static_cast<platform::HRESULT>(0x80070057);

// Types of registry values.
inline constexpr platform::DWORD kRegBinary = 3;
inline constexpr platform::DWORD kRegMultiSz = 7;

}  // namespace simulated

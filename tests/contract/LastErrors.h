/** Last errors that the contract tests expect. */
#pragma once

#include "platform/Types.h"

namespace platform::last_error {

constexpr DWORD kFileNotFound = 2;
constexpr DWORD kPathNotFound = 3;
constexpr DWORD kAccessDenied = 5;
constexpr DWORD kInvalidHandle = 6;
constexpr DWORD kInvalidData = 13;
constexpr DWORD kInvalidParameter = 87;
constexpr DWORD kAlreadyExists = 183;
constexpr DWORD kBadExeFormat = 193;
constexpr DWORD kMoreData = 234;
constexpr DWORD kNotADirectory = 267;
constexpr DWORD kNoAssociation = 1155;
constexpr DWORD kBadKeyState = 0x8009000B;

}  // namespace platform::last_error

/** Shared by the contract tests of the registry: their key, and the results that they expect. */
#pragma once

#include <string>

#include "platform/Types.h"

namespace platform {

inline const std::u16string kBase = u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayContract";
/** The path of kBase below HKEY_LOCAL_MACHINE. */
constexpr const char16_t* kBelowRoot = u"Software\\KestrelbayContract";

namespace status {
constexpr LSTATUS kSuccess = 0;
constexpr LSTATUS kFileNotFound = 2;
constexpr LSTATUS kAccessDenied = 5;
constexpr LSTATUS kInvalidHandle = 6;
constexpr LSTATUS kPathTooLong = 206;
constexpr LSTATUS kMoreData = 234;
constexpr LSTATUS kNoMoreItems = 259;
constexpr LSTATUS kKeyDeleted = 1018;
}  // namespace status

}  // namespace platform

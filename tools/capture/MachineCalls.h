/**
 * Calls of the machine that a capture needs and the port lacks, because the product never makes them. Either
 * MachineCallsWindows.cpp or MachineCallsSimulated.cpp is built.
 */
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CapturedMachine.h"
#include "platform/Types.h"

namespace capture {

/** @return all environment variables in the order of the system */
std::vector<std::pair<std::u16string, std::u16string>> EnvironmentVariables();

/** @return the SID of the user whose hive is HKEY_CURRENT_USER, as text; empty if unknown */
std::u16string UserSid();

/** @return the account of this process as DOMAIN\name or name; empty if unknown */
std::u16string UserAccount();

/** @return the session of this process; nullopt on a simulated machine, which has none */
std::optional<std::uint32_t> Session();

/**
 * Reads the value at `index` of an open key, as RegEnumValueW does.
 * @param key    opened with KEY_QUERY_VALUE
 * @param value  out: name, type and bytes; only valid on success
 * @return 0, ERROR_NO_MORE_ITEMS (259) after the last value, or another Windows error number
 */
platform::LSTATUS EnumerateValue(platform::HKEY key, platform::DWORD index, CapturedValue& value);

/** @return the path by which a program on this system opens a file of the machine; nullopt if it is missing
 */
std::optional<std::filesystem::path> FindMachineFile(std::u16string_view path);

/** @return the text in the ANSI code page of the machine; empty if that has no such character */
std::string ToAnsi(std::u16string_view text);
/** @return the wide text of a text in the ANSI code page of the machine */
std::u16string FromAnsi(std::string_view text);

}  // namespace capture

/**
 * What a capture asks of the machine beside the port: things that the product itself never asks for. One of
 * MachineCallsWindows.cpp and MachineCallsSimulated.cpp is built.
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

/** All variables, in the system's order. */
std::vector<std::pair<std::u16string, std::u16string>> EnvironmentVariables();

/** The SID, as text, whose hive HKEY_CURRENT_USER is; empty where it cannot be told. */
std::u16string UserSid();

/** The account of this process, as DOMAIN\name or name; empty if unknown. */
std::u16string UserAccount();

/** The session of this process; nullopt on a simulated machine, which has none. */
std::optional<std::uint32_t> Session();

/**
 * Reads the value at `index` of an open key, as RegEnumValueW does.
 * @param key    opened with KEY_QUERY_VALUE
 * @param value  receives name, type and bytes; only valid on success
 * @return 0, ERROR_NO_MORE_ITEMS (259) behind the last value, or another Windows error number
 */
platform::LSTATUS EnumerateValue(platform::HKEY key, platform::DWORD index, CapturedValue& value);

/** Where a program of this system finds a file of the machine; nothing where no file is there. */
std::optional<std::filesystem::path> FindMachineFile(std::u16string_view path);

/** A text in the code page that narrow text has on the machine; empty where that cannot express it. */
std::string ToAnsi(std::u16string_view text);
/** The reverse. */
std::u16string FromAnsi(std::string_view text);

}  // namespace capture

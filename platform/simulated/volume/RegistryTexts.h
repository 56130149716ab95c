/** Reads values of the registry while a volume is loaded. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulated/machine/Machine.h"

namespace simulated {

/** Returns the characters of a text value up to its NUL; empty if the value is missing. */
std::u16string TextIn(Key& key, std::u16string_view name);
std::u16string TextOf(const ValueView& value);
/** The same for the key at that path; empty if the key is missing. */
std::u16string TextAt(Machine& machine, std::u16string_view path, std::u16string_view name);
/** Returns the number in a value of four bytes; 0 for any other value. */
std::uint32_t NumberIn(Key& key, std::u16string_view name);
/** Characters of the longest environment variable and expanded text of Windows. */
inline constexpr std::size_t kLongestVariable = 32767;
/**
 * Replaces %NAME% by the machine's variables. An unknown name stays as it is.
 * @return nothing if the result is longer than kLongestVariable
 */
std::optional<std::u16string> Expand(const Machine& machine, std::u16string_view text);

}  // namespace simulated

/** Reads values of the registry while a volume is loaded. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulated/machine/Machine.h"

namespace simulated {

/** Returns the characters of a text value up to its NUL; empty if the value is missing. */
std::u16string TextIn(Key& key, std::u16string_view name);
/** The same for the key at that path; empty if the key is missing. */
std::u16string TextAt(Machine& machine, std::u16string_view path, std::u16string_view name);
/** Returns the number in a value of four bytes; 0 for any other value. */
std::uint32_t NumberIn(Key& key, std::u16string_view name);
/** Replaces %NAME% by the machine's variables. An unknown name stays as it is. */
std::u16string Expand(const Machine& machine, std::u16string_view text);

}  // namespace simulated

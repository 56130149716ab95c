/** Values of a machine's registry as its own volume needs them. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulated/machine/Machine.h"

namespace simulated {

/** The characters of a text value up to its NUL; empty if there is none. */
std::u16string TextIn(Key& key, std::u16string_view name);
/** The same of the key at that path. */
std::u16string TextAt(Machine& machine, std::u16string_view path, std::u16string_view name);
/** A REG_DWORD; 0 if there is none. */
std::uint32_t NumberIn(Key& key, std::u16string_view name);
/** Replaces %NAME% by the machine's variables. A name without one stays as it is. */
std::u16string Expand(const Machine& machine, std::u16string_view text);

}  // namespace simulated

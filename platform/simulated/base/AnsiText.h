/**
 * The ANSI code page of the machine, that of Western Europe: Windows-1252. It leaves five bytes undefined,
 * which Windows maps to the control characters of their numbers.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulated {

char16_t WideFromAnsi(std::uint8_t byte);

/** What the code page has no character for becomes '?'. */
std::string ToAnsi(std::u16string_view text);

}  // namespace simulated

/**
 * The ANSI code page of the machine, that of Western Europe: Windows-1252. Windows maps the five bytes that
 * this code page leaves undefined to the control characters of the same numbers.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulated {

char16_t WideFromAnsi(std::uint8_t byte);

/** A character that the code page lacks becomes '?'. */
std::string ToAnsi(std::u16string_view text);

}  // namespace simulated

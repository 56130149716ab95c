/** Base64 text as Windows writes and reads it. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/** How long the text of so many bytes is, without a NUL. */
std::size_t Base64Chars(std::size_t byteCount, bool inLines);

/** @param inLines whether each 64 characters, and what is left at the end, are followed by CR LF */
std::string ToBase64(std::span<const std::uint8_t> bytes, bool inLines);

/**
 * Blanks, tabs and line ends may stand anywhere. A last group without its padding is read as far as it goes,
 * padding that has begun must be whole, and what follows it is ignored.
 * @return nothing for a text with any other character in it
 */
std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text);

}  // namespace simulated

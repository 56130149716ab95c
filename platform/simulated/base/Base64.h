/** Base64 text as Windows writes and reads it. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/** @param inLines  ends each line of 64 characters, and the last line, with CR LF */
std::string ToBase64(std::span<const std::uint8_t> bytes, bool inLines);

/**
 * Reads as Windows does: blanks, tabs and line ends are ignored everywhere. The padding may be missing, and
 * the last group then gives as many bytes as it can. If there is padding, it must be complete, and all text
 * behind it is ignored.
 * @return nothing for a text with any other character
 */
std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text);

}  // namespace simulated

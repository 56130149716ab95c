/** Line numbers, for error messages. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace simulated {

/**
 * Returns the line number, from 1, of the character behind `before`. A line ends in LF, CRLF or CR. CRCRLF is
 * one line end as well, because Windows exports a CRLF inside a text so.
 */
template <typename Unit>
std::size_t LineBehind(std::span<const Unit> before) {
  std::size_t line = 1;
  for (std::size_t at = 0; at < before.size(); ++at) {
    if (before[at] != Unit{'\r'} && before[at] != Unit{'\n'}) continue;
    ++line;
    std::size_t lineFeed = at;
    while (lineFeed < before.size() && before[lineFeed] == Unit{'\r'}) ++lineFeed;
    if (lineFeed < before.size() && before[lineFeed] == Unit{'\n'}) at = lineFeed;
  }
  return line;
}

}  // namespace simulated

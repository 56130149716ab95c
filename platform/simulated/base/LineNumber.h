/** Where in a text something stands, as a person counts lines. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace simulated {

/**
 * The number of the line that the character behind `before` stands in, from 1. A line ends in LF, CRLF or CR;
 * the CRCRLF that Windows exports for a CRLF within a text is one end as well.
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

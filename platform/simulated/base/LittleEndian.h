/** Numbers as Windows' files have them: the lowest byte first. The caller sees to it that they are there. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace simulated {

inline std::uint16_t Read16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

/** Written so that compilers see the one read that it is: two halves stay two reads. */
inline std::uint32_t Read32(std::span<const std::uint8_t> bytes, std::size_t at) {
  const std::uint8_t* const from = bytes.data() + at;
  return from[0] | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 | std::uint32_t{from[3]} << 24;
}

}  // namespace simulated

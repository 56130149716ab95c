/** Reads little-endian numbers, as Windows' files have them. REQUIRES: the bytes are inside the span. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace simulated {

inline std::uint16_t Read16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

/** Written as one expression because compilers then make one load of it. */
inline std::uint32_t Read32(std::span<const std::uint8_t> bytes, std::size_t at) {
  const std::uint8_t* const from = bytes.data() + at;
  return from[0] | std::uint32_t{from[1]} << 8 | std::uint32_t{from[2]} << 16 | std::uint32_t{from[3]} << 24;
}

}  // namespace simulated

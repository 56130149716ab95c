/** Numbers as Windows' files have them: the lowest byte first. The caller sees to it that they are there. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace simulated {

inline std::uint16_t Read16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

inline std::uint32_t Read32(std::span<const std::uint8_t> bytes, std::size_t at) {
  return Read16(bytes, at) | std::uint32_t{Read16(bytes, at + 2)} << 16;
}

}  // namespace simulated

/** A checksum that detects accidental changes of a file. It is no protection against tampering. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulated {

/** FNV-1a of 64 bits, as 16 hexadecimal digits. */
inline std::string Checksum(std::string_view bytes) {
  std::uint64_t sum = 0xCBF29CE484222325;
  for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  std::string digits(16, '0');
  for (std::size_t i = digits.size(); i-- > 0; sum >>= 4) digits[i] = "0123456789abcdef"[sum & 15];
  return digits;
}

}  // namespace simulated

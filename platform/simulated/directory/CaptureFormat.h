/** The form of a capture, for its writer and its reader. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace simulated {

/** The newest form that is written and read. */
inline constexpr std::uint32_t kCaptureFormat = 1;

/**
 * Detects accidental changes of a captured file. It does not protect against tampering.
 * @return FNV-1a of 64 bits, as 16 hexadecimal digits
 */
inline std::string CaptureChecksum(std::string_view bytes) {
  std::uint64_t sum = 0xCBF29CE484222325;
  for (const char byte : bytes) sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  std::string digits(16, '0');
  for (std::size_t i = digits.size(); i-- > 0; sum >>= 4) digits[i] = "0123456789abcdef"[sum & 15];
  return digits;
}

/** Checksum of a machine.json without the checksum itself. Line ends and blanks between members do not count.
 */
inline std::string ChecksumOfDescription(nlohmann::json root) {
  root["capture"].erase("checksum");
  return CaptureChecksum(root.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace simulated

#include "Base64.h"

#include <cstdint>

namespace host {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string ToBase64(std::string_view bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0u);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= group.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

std::string FromBase64(std::string_view text) {
  std::string bytes;
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (const char c : text) {
    const std::size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) break;
    bits = (bits << 6) | static_cast<std::uint32_t>(digit);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes += static_cast<char>((bits >> bitCount) & 0xFF);
  }
  return bytes;
}

}  // namespace host

#include "console/Base64.h"

#include <array>
#include <cstdint>

namespace cli {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 64;

/** The value of each character as a digit: a picture has some hundred thousand to be looked up. */
constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::size_t digit = 0; digit < kDigits.size(); ++digit) {
    values[static_cast<unsigned char>(kDigits[digit])] = static_cast<std::uint8_t>(digit);
  }
  return values;
}();

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
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (const char c : text) {
    const std::uint8_t digit = kValues[static_cast<unsigned char>(c)];
    if (digit == kNoDigit) break;
    bits = (bits << 6) | digit;
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes += static_cast<char>((bits >> bitCount) & 0xFF);
  }
  return bytes;
}

}  // namespace cli

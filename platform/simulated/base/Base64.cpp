#include "simulated/base/Base64.h"

#include <sodium.h>

#include <algorithm>
#include <array>

namespace simulated {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = kDigits.size();
/** The number of each digit, by its character. A search for each digit takes a third of an icon's time. */
constexpr auto kNumbers = [] {
  std::array<std::uint8_t, 256> numbers{};
  numbers.fill(kNoDigit);
  for (std::size_t i = 0; i < kDigits.size(); ++i)
    numbers[static_cast<unsigned char>(kDigits[i])] = static_cast<std::uint8_t>(i);
  return numbers;
}();
constexpr std::size_t kGroupChars = 4;
constexpr std::size_t kLineChars = 64;

std::uint32_t NumberOf(char digit) { return kNumbers[static_cast<unsigned char>(digit)]; }

/** Appends what a group of digits says; one that is not whole says less. */
void AppendBytes(std::string_view digits, std::vector<std::uint8_t>& bytes) {
  std::uint32_t bits = 0;
  for (std::size_t at = 0; at < kGroupChars; ++at) {
    bits = bits << 6 | (at < digits.size() ? NumberOf(digits[at]) : 0);
  }
  const std::size_t count = digits.size() == 1 ? 1 : digits.size() - 1;
  for (std::size_t at = 0; at < count; ++at) bytes.push_back(bits >> (16 - 8 * at) & 0xFF);
}

std::string WithoutWhiteSpace(std::string_view text) {
  std::string dense(text);
  std::erase_if(dense, [](char unit) { return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n'; });
  return dense;
}

}  // namespace

std::string ToBase64(std::span<const std::uint8_t> bytes, bool inLines) {
  std::string text(sodium_base64_ENCODED_LEN(bytes.size(), sodium_base64_VARIANT_ORIGINAL), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), sodium_base64_VARIANT_ORIGINAL);
  text.pop_back();  // the null terminator, which a std::string has anyway
  if (!inLines) return text;
  std::string lines;
  for (std::size_t at = 0; at < text.size(); at += kLineChars)
    (lines += text.substr(at, kLineChars)) += "\r\n";
  return lines;
}

std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text) {
  const std::string dense = WithoutWhiteSpace(text);
  const auto firstOther = std::ranges::find(dense, kNoDigit, NumberOf);
  const auto end = static_cast<std::size_t>(firstOther - dense.begin());
  const std::size_t missing = end % kGroupChars == 0 ? 0 : kGroupChars - end % kGroupChars;
  const std::string_view rest = std::string_view(dense).substr(end);
  const bool isPadded = rest.starts_with('=') && rest.starts_with(std::string(missing, '='));
  if (!rest.empty() && !isPadded) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  bytes.reserve(end);
  for (std::size_t at = 0; at < end; at += kGroupChars) {
    AppendBytes(std::string_view(dense).substr(at, std::min(kGroupChars, end - at)), bytes);
  }
  return bytes;
}

}  // namespace simulated

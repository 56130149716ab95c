#include "simulated/base/Base64.h"

#include <algorithm>

namespace simulated {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroupChars = 4;
constexpr std::size_t kGroupBytes = 3;
constexpr std::size_t kLineBytes = 48;
constexpr std::string_view kLineEnd = "\r\n";

/** Writes four digits for a group of bytes. The last group of all may be short. */
char* WriteGroup(std::span<const std::uint8_t> bytes, char* text) {
  std::uint32_t bits = 0;
  for (std::size_t at = 0; at < kGroupBytes; ++at) bits = bits << 8 | (at < bytes.size() ? bytes[at] : 0U);
  for (std::size_t at = 0; at < kGroupChars; ++at) {
    *text++ = at <= bytes.size() ? kDigits[bits >> (18 - 6 * at) & 63] : '=';
  }
  return text;
}

/** Appends what a group of digits says; one that is not whole says less. */
void AppendBytes(std::string_view digits, std::vector<std::uint8_t>& bytes) {
  std::uint32_t bits = 0;
  for (std::size_t at = 0; at < kGroupChars; ++at) {
    bits = bits << 6 | static_cast<std::uint32_t>(at < digits.size() ? kDigits.find(digits[at]) : 0);
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

std::size_t Base64Chars(std::size_t byteCount, bool inLines) {
  const std::size_t groups = (byteCount + kGroupBytes - 1) / kGroupBytes;
  const std::size_t lines = (byteCount + kLineBytes - 1) / kLineBytes;
  return groups * kGroupChars + (inLines ? lines * kLineEnd.size() : 0);
}

std::string ToBase64(std::span<const std::uint8_t> bytes, bool inLines) {
  std::string text(Base64Chars(bytes.size(), inLines), '\0');
  char* out = text.data();
  for (std::size_t at = 0; at < bytes.size(); at += kGroupBytes) {
    out = WriteGroup(bytes.subspan(at, std::min(kGroupBytes, bytes.size() - at)), out);
    const std::size_t end = at + kGroupBytes;
    if (inLines && (end % kLineBytes == 0 || end >= bytes.size())) out = std::ranges::copy(kLineEnd, out).out;
  }
  return text;
}

std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text) {
  const std::string dense = WithoutWhiteSpace(text);
  const std::size_t end = std::min(dense.find_first_not_of(kDigits), dense.size());
  const std::size_t missing = end % kGroupChars == 0 ? 0 : kGroupChars - end % kGroupChars;
  const std::string_view rest = std::string_view(dense).substr(end);
  const bool isPadded = rest.starts_with('=') && rest.starts_with(std::string(missing, '='));
  if (!rest.empty() && !isPadded) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  for (std::size_t at = 0; at < end; at += kGroupChars) {
    AppendBytes(std::string_view(dense).substr(at, std::min(kGroupChars, end - at)), bytes);
  }
  return bytes;
}

}  // namespace simulated

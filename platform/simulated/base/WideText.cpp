#include "simulated/base/WideText.h"

#include <cstdint>

namespace simulated {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

/** The first byte of a sequence decides how many bytes follow, and the bounds of the next byte. */
struct Lead {
  int following;
  std::uint8_t lowestNext;
  std::uint8_t highestNext;
};

/** The bounds of the second byte exclude overlong forms, surrogates and characters above U+10FFFF. */
Lead LeadOf(std::uint8_t byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, 0x80, 0xBF};
  if (byte == 0xE0) return {2, 0xA0, 0xBF};
  if (byte == 0xED) return {2, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {2, 0x80, 0xBF};
  if (byte == 0xF0) return {3, 0x90, 0xBF};
  if (byte >= 0xF1 && byte <= 0xF3) return {3, 0x80, 0xBF};
  if (byte == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

bool IsContinuation(std::uint8_t byte) { return (byte & 0xC0) == 0x80; }

struct Decoded {
  char32_t character;
  std::size_t bytes;
  bool isValid;
};

/**
 * Decodes the first character of `text`, which is not ASCII. An incomplete sequence is one invalid character,
 * because Windows replaces it by one U+FFFD.
 */
Decoded DecodeFirst(std::string_view text) {
  const auto byteAt = [&](std::size_t index) { return static_cast<std::uint8_t>(text[index]); };
  const std::uint8_t first = byteAt(0);
  Lead lead = LeadOf(first);
  Decoded decoded = {static_cast<char32_t>(first & (0x3F >> lead.following)), 1, lead.following > 0};
  for (; decoded.isValid && lead.following > 0; --lead.following) {
    decoded.isValid = decoded.bytes < text.size() && IsContinuation(byteAt(decoded.bytes));
    if (!decoded.isValid) break;
    // A second byte out of bounds still belongs to the invalid character.
    const std::uint8_t next = byteAt(decoded.bytes++);
    decoded.isValid = next >= lead.lowestNext && next <= lead.highestNext;
    decoded.character = decoded.character << 6 | (next & 0x3F);
    lead.lowestNext = 0x80;
    lead.highestNext = 0xBF;
  }
  return decoded;
}

/**
 * Converts the text before the first invalid character.
 * @param wide  in: room for as many units as `text` has bytes; out: behind the last unit that was written
 * @return how many bytes were converted
 */
std::size_t ConvertValid(std::string_view text, char16_t*& wide) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (static_cast<std::uint8_t>(text[at]) < 0x80) {
      *wide++ = static_cast<char16_t>(text[at++]);
      continue;
    }
    const Decoded decoded = DecodeFirst(text.substr(at));
    if (!decoded.isValid) return at;
    const bool isPair = decoded.character >= 0x10000;
    if (isPair) *wide++ = static_cast<char16_t>(0xD7C0 + (decoded.character >> 10));
    *wide++ = static_cast<char16_t>(isPair ? 0xDC00 | (decoded.character & 0x3FF) : decoded.character);
    at += decoded.bytes;
  }
  return at;
}

bool IsHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

char32_t TakeCharacter(std::u16string_view& text) {
  const char16_t first = text[0];
  text.remove_prefix(1);
  if (IsHighSurrogate(first) && !text.empty() && IsLowSurrogate(text[0])) {
    const char16_t second = text[0];
    text.remove_prefix(1);
    return 0x10000 + (static_cast<char32_t>(first & 0x3FF) << 10 | (second & 0x3FF));
  }
  return IsHighSurrogate(first) || IsLowSurrogate(first) ? kReplacement : first;
}

void AppendUtf8(std::string& text, char32_t character) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) return append(character);
  if (character < 0x800) {
    append(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      append(0xE0 | character >> 12);
    } else {
      append(0xF0 | character >> 18);
      append(0x80 | (character >> 12 & 0x3F));
    }
    append(0x80 | (character >> 6 & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

}  // namespace

std::u16string FromUtf8(std::string_view text) {
  std::u16string wide(text.size(), u'\0');
  char16_t* end = wide.data();
  while (true) {
    text.remove_prefix(ConvertValid(text, end));
    if (text.empty()) break;
    *end++ = kReplacement;
    text.remove_prefix(DecodeFirst(text).bytes);
  }
  wide.resize(static_cast<std::size_t>(end - wide.data()));
  return wide;
}

std::size_t FromValidUtf8(std::string_view text, std::u16string& wide) {
  wide.resize(text.size());
  char16_t* end = wide.data();
  const std::size_t bytes = ConvertValid(text, end);
  wide.resize(static_cast<std::size_t>(end - wide.data()));
  return bytes;
}

std::string ToUtf8(std::u16string_view text) {
  std::string narrow;
  narrow.reserve(text.size());
  while (!text.empty()) AppendUtf8(narrow, TakeCharacter(text));
  return narrow;
}

}  // namespace simulated

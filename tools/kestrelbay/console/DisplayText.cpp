#include "console/DisplayText.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "console/CharacterWidths.h"
#include "console/System.h"

namespace cli {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kEllipsis = "\u2026";

/** Bytes of the sequence that such a first byte begins; 0 where it begins none. */
std::size_t SequenceBytes(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF5) return 4;
  return 0;
}

bool IsCharacter(char32_t code, std::size_t bytes) {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return code >= kSmallest[bytes] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

/** The character at `at`, which moves behind it; a byte that belongs to none is one of its own. */
char32_t NextCharacter(std::string_view text, std::size_t& at) {
  const auto first = static_cast<unsigned char>(text[at]);
  const std::size_t start = at++;
  const std::size_t bytes = SequenceBytes(first);
  if (bytes == 1) return first;
  if (bytes == 0 || start + bytes > text.size()) return kReplacement;
  char32_t code = first & (0xFFU >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<unsigned char>(text[start + i]);
    if ((next & 0xC0) != 0x80) return kReplacement;
    code = (code << 6) | (next & 0x3F);
  }
  if (!IsCharacter(code, bytes)) return kReplacement;
  at = start + bytes;
  return code;
}

void Append(std::string& text, char32_t code) {
  const auto tail = [&](unsigned shift) { text += static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0 | (code >> 6));
    tail(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0 | (code >> 12));
    tail(6), tail(0);
  } else {
    text += static_cast<char>(0xF0 | (code >> 18));
    tail(12), tail(6), tail(0);
  }
}

char32_t Shown(char32_t code) {
  if (code < 0x20) return 0x2400 + code;
  if (code == 0x7F) return 0x2421;
  const bool isControl = code > 0x7F && code < 0xA0;
  const bool endsLine = code == 0x2028 || code == 0x2029;
  const bool turnsDirection = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  return isControl || endsLine || turnsDirection ? kReplacement : code;
}

bool Contains(std::span<const CodeRange> ranges, char32_t code) {
  const auto after = std::upper_bound(ranges.begin(), ranges.end(), code,
                                      [](char32_t c, const CodeRange& range) { return c < range.first; });
  return after != ranges.begin() && code <= std::prev(after)->last;
}

int CellsOf(char32_t code) {
  if (code < 0x80) return 1;
  if (Contains(kNoCell, code)) return 0;
  return Contains(kTwoCells, code) ? 2 : 1;
}

bool IsBlank(char32_t code) {
  const bool isAscii = code == ' ' || (code >= '\t' && code <= '\r');
  const bool isWide =
      (code >= 0x2000 && code <= 0x200D) || code == 0x202F || code == 0x205F || code == 0x3000;
  return isAscii || isWide || code == 0xA0 || code == 0xAD || code == 0x2060 || code == 0xFEFF;
}

bool IsPlain(char c) { return c >= 0x20 && c < 0x7F; }

}  // namespace

std::string Printable(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), IsPlain)) return std::string(text);
  std::string shown;
  for (std::size_t at = 0; at < text.size();) Append(shown, Shown(NextCharacter(text, at)));
  return shown;
}

int DisplayWidth(std::string_view text) {
  int cells = 0;
  for (std::size_t at = 0; at < text.size();) cells += CellsOf(NextCharacter(text, at));
  return cells;
}

std::string CutToWidth(std::string_view text, int cells) {
  int used = 0;
  std::size_t kept = 0;  // end of what leaves a cell for the ellipsis
  for (std::size_t at = 0; at < text.size();) {
    used += CellsOf(NextCharacter(text, at));
    if (used < cells) kept = at;
    if (used > cells) return std::string(text.substr(0, kept)).append(kEllipsis);
  }
  return std::string(text);
}

std::string WithoutCaseAndBlanks(std::string_view text) {
  std::string folded;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t code = NextCharacter(text, at);
    if (!IsBlank(code)) Append(folded, ToLower(code));
  }
  return folded;
}

}  // namespace cli

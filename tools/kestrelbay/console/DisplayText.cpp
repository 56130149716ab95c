#include "console/DisplayText.h"

#include <utf8cpp/utf8.h>
#include <algorithm>
#include <iterator>
#include <span>

#include "console/CharacterWidths.h"
#include "console/System.h"

namespace cli {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kEllipsis = "\u2026";

/** The character at `at`, which moves behind it. A byte that belongs to no character counts as U+FFFD. */
char32_t NextCharacter(std::string_view text, std::size_t& at) {
  const char* next = text.data() + at;
  try {
    const char32_t code = utf8::next(next, text.data() + text.size());
    at = static_cast<std::size_t>(next - text.data());
    return code;
  } catch (const utf8::exception&) {
    ++at;
    return kReplacement;
  }
}

void Append(std::string& text, char32_t code) { utf8::append(code, std::back_inserter(text)); }

bool IsIn(char32_t code, char32_t first, char32_t last) { return code >= first && code <= last; }

bool IsControl(char32_t code) { return code < 0x20 || IsIn(code, 0x7F, 0x9F); }

/** Whether the character ends a line or changes the direction of the text around it. */
bool ChangesLayout(char32_t code) {
  const bool isMark = code == 0x061C || code == 0x200E || code == 0x200F;
  return isMark || IsIn(code, 0x2028, 0x202E) || IsIn(code, 0x2066, 0x2069);
}

/**
 * Whether the character shows nothing, so that two names that differ look alike. Selectors of a variant (FE00
 * to FE0F, E0100 to E01EF) are not among them: they change what the character before them looks like.
 */
bool IsInvisible(char32_t code) {
  const bool isZeroWidth = IsIn(code, 0x200B, 0x200D) || IsIn(code, 0x2060, 0x206F) || code == 0xFEFF ||
                           IsIn(code, 0xFFF0, 0xFFFB) || code == 0x180E || code == 0x034F || code == 0xAD;
  const bool isVowel = IsIn(code, 0x17B4, 0x17B5);
  const bool isFormat = IsIn(code, 0x1BCA0, 0x1BCA3) || IsIn(code, 0x1D173, 0x1D17A);
  const bool isFiller = code == 0x115F || code == 0x1160 || code == 0x3164 || code == 0xFFA0;
  const bool isTag = IsIn(code, 0xE0000, 0xE00FF) || IsIn(code, 0xE01F0, 0xE0FFF);
  return isZeroWidth || isVowel || isFormat || isFiller || isTag;
}

char32_t Shown(char32_t code) {
  if (code < 0x20) return 0x2400 + code;
  if (code == 0x7F) return 0x2421;
  return IsControl(code) || ChangesLayout(code) || IsInvisible(code) ? kReplacement : code;
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
  shown.reserve(3 * text.size());  // U+FFFD takes three bytes
  for (std::size_t at = 0; at < text.size();) Append(shown, Shown(NextCharacter(text, at)));
  return shown;
}

bool ActsOnTerminal(char32_t code) { return IsControl(code) || ChangesLayout(code); }

std::string ReplaceCharacters(std::string_view text, std::size_t bytesPerByte,
                              const Replacement& replacement) {
  std::string replaced;
  replaced.reserve(text.size() * bytesPerByte);
  for (std::size_t at = 0; at < text.size();) {
    const char32_t code = NextCharacter(text, at);
    const std::string instead = replacement(code);
    instead.empty() ? Append(replaced, code) : static_cast<void>(replaced += instead);
  }
  return replaced;
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

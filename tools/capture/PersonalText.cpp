#include "PersonalText.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr std::size_t kGuidChars = 36;
constexpr std::size_t kPackedGuidChars = 32;

bool IsHexFigure(char16_t unit) { return IsFigure(unit) || ((unit | 0x20) >= u'a' && (unit | 0x20) <= u'f'); }

int HexValue(char16_t unit) {
  if (IsFigure(unit)) return unit - u'0';
  return IsHexFigure(unit) ? (unit | 0x20) - u'a' + 10 : -1;
}

/** The next unit of a text, which may be escaped, of full width, or UTF-8 with one byte in each unit. */
char16_t TakeUnit(std::u16string_view text, std::size_t& at) {
  const char16_t first = TakeByte(text, at);
  const std::size_t more = first >= 0xF0 || first < 0xC2 ? 0 : first >= 0xE0 ? 2 : 1;
  if (more == 0 || first > 0xFF) return WithoutWidth(first);
  unsigned unit = more == 2 ? first & 0x0F : first & 0x1F;
  std::size_t end = at;
  for (std::size_t i = 0; i < more; ++i) {
    if (end >= text.size()) return first;
    const char16_t next = TakeByte(text, end);
    if (next < 0x80 || next > 0xBF) return first;
    unit = unit << 6 | (next & 0x3F);
  }
  at = end;
  return WithoutWidth(static_cast<char16_t>(unit));
}

/** The next character of a narrow text in the code page, Folded(); 0 if it is none. */
char16_t TakeCharacter(std::u16string_view text, std::size_t& at, const CodePage& page) {
  const char16_t first = TakeByte(text, at);
  if (first > 0xFF) return 0;
  if (page[first] != 0 || at >= text.size() || page.size() <= 0x100) return page[first];
  const char16_t second = TakeByte(text, at);
  return second > 0xFF ? u'\0' : page[std::size_t{first} << 8 | second];
}

/** Returns how much of the text the name takes there, in any of its forms; 0 if another text is there. */
std::size_t SizeAt(std::u16string_view text, std::size_t at, const PersonalName& name) {
  if (!name.page && StartsWith(text, at, name.text)) return name.text.size();
  std::size_t end = at;
  for (const char16_t unit : name.text) {
    if (end >= text.size()) return 0;
    const char16_t found = name.page ? TakeCharacter(text, end, *name.page) : Folded(TakeUnit(text, end));
    if (found != unit) return 0;
  }
  return end - at;
}

std::size_t SkipFigures(std::u16string_view text, std::size_t at) {
  while (at < text.size() && IsFigure(text[at])) ++at;
  return at;
}

/** Whether the part is in a GUID, or in a packed product code. */
bool IsInCode(std::u16string_view text, std::size_t begin, std::size_t end) {
  const auto isPart = [](char16_t unit) { return IsHexFigure(unit) || unit == u'-'; };
  if (!std::ranges::all_of(text.substr(begin, end - begin), isPart)) return false;
  while (begin > 0 && end - begin <= kGuidChars && isPart(text[begin - 1])) --begin;
  while (end < text.size() && end - begin <= kGuidChars && isPart(text[end])) ++end;
  const std::u16string_view code = text.substr(begin, end - begin);
  if (code.size() == kPackedGuidChars) return code.find(u'-') == kNone;
  if (code.size() != kGuidChars) return false;
  for (std::size_t i = 0; i < code.size(); ++i) {
    if ((code[i] == u'-') != (i == 8 || i == 13 || i == 18 || i == 23)) return false;
  }
  return true;
}

/** Returns a number for the script of the unit, by its block of 256. Latin has the first ones, and the
 * scripts of eastern Asia have many. */
int ScriptOf(char16_t unit) {
  constexpr char16_t kAfterLatin = 0x250;
  constexpr char16_t kEasternAsia = 0x2E80;
  if (unit < kAfterLatin) return 0;
  return unit < kEasternAsia ? unit >> 8 : kEasternAsia >> 8;
}

/**
 * Whether two adjacent units belong to one word. Those of two scripts do not, because the bytes before or
 * behind a name in other data are often a unit of another script.
 */
bool AreOneWord(char16_t left, char16_t right) {
  return IsWord(left) && IsWord(right) && ScriptOf(left) == ScriptOf(right);
}

}  // namespace

bool IsFigure(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool IsAsciiLetter(char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; }

bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool IsWord(char16_t unit) {
  return (unit >= 0x80 && unit != kMasked) || IsFigure(unit) || IsAsciiLetter(unit);
}

bool StartsWith(std::u16string_view text, std::size_t at, std::u16string_view upper) {
  if (text.size() - at < upper.size()) return false;
  for (std::size_t i = 0; i < upper.size(); ++i) {
    if (Folded(text[at + i]) != upper[i]) return false;
  }
  return true;
}

// The full-width forms of ASCII are 0xFEE0 above it.
char16_t WithoutWidth(char16_t unit) {
  return unit > 0xFF00 && unit < 0xFF5F ? static_cast<char16_t>(unit - 0xFEE0) : unit;
}

char16_t TakeByte(std::u16string_view text, std::size_t& at) {
  const bool isEscape =
      text[at] == u'%' && text.size() - at > 2 && IsHexFigure(text[at + 1]) && IsHexFigure(text[at + 2]);
  if (!isEscape) return text[at++];
  at += 3;
  return static_cast<char16_t>(HexValue(text[at - 2]) << 4 | HexValue(text[at - 1]));
}

void AddWords(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  for (std::size_t at = begin; at < end; ++at) {
    const std::size_t word = at;
    while (at < end && IsWord(text[at])) ++at;
    if (at != word) parts.push_back({word, at - word, PersonalKind::Word});
  }
}

// S-1-5-21: three numbers of the machine or domain. S-1-12-1: four numbers of a directory user.
void FindSids(std::u16string& text, PersonalParts& parts) {
  for (std::size_t at = text.find(u'-'); at != kNone; at = text.find(u'-', at + 1)) {
    if (at == 0 || (text[at - 1] | 0x20) != 's') continue;
    const bool isLocal = StartsWith(text, at, u"-1-5-21-");
    if (!isLocal && !StartsWith(text, at, u"-1-12-1-")) continue;
    const std::size_t begin = at + 8;
    std::size_t end = SkipFigures(text, begin);
    int count = end > begin ? 1 : 0;
    for (const int wanted = isLocal ? 3 : 4; count != 0 && count < wanted; ++count) {
      const std::size_t next = end < text.size() && text[end] == u'-' ? SkipFigures(text, end + 1) : end;
      if (next <= end + 1) break;
      end = next;
    }
    if (count != (isLocal ? 3 : 4)) continue;
    parts.push_back({begin, end - begin, PersonalKind::Sid});
    while (end + 1 < text.size() && text[end] == u'-' && IsFigure(text[end + 1]))
      end = SkipFigures(text, end + 1);
    text.replace(at - 1, end - at + 1, end - at + 1, kMasked);
  }
}

NameIndex::NameIndex(const std::vector<PersonalName>& names) : names_(names), byUnit_(0x10000) {
  // Each name may also begin as an escape, in full width, or as UTF-8: in one of these units.
  std::u16string others = u"%";
  for (char16_t unit = 0xFF01; unit < 0xFF5F; ++unit) others += unit;
  for (char16_t unit = 0xC2; unit < 0xF0; ++unit) others += unit;
  for (std::size_t number = 0; number < names_.size(); ++number) {
    for (const char16_t unit : names_[number].begins + others) {
      std::vector<std::size_t>& numbers = byUnit_[unit];
      if (numbers.empty() || numbers.back() != number) numbers.push_back(number);
    }
  }
}

void FindNames(std::u16string_view text, const NameIndex& names, bool withShort, PersonalParts& parts) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const std::size_t number : names.At(Folded(text[at]))) {
      const PersonalName& name = names[number];
      const std::size_t end = at + SizeAt(text, at, name);
      if (end == at) continue;
      const bool isWord = (at == 0 || !AreOneWord(text[at - 1], text[at])) &&
                          (end == text.size() || !AreOneWord(text[end - 1], text[end]));
      const bool isSought = name.inWords || (isWord && (withShort || name.text.size() >= kTellingChars));
      if (isSought && (name.kind == PersonalKind::Guid || !IsInCode(text, at, end))) {
        parts.push_back({at, end - at, name.kind});
        at = end - 1;
        break;
      }
    }
  }
}

}  // namespace capture

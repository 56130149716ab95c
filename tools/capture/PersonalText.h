/**
 * Finds the parts of a text that identify a person or machine. Names are Folded() (Text.h). A text is UTF-16,
 * or the bytes of a narrow text with one byte in each unit. Parts that are found are masked, so that they are
 * found once.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "PersonalNames.h"

namespace capture {

/** A part of a text to hide. */
struct PersonalPart {
  std::size_t at;
  std::size_t size;
  PersonalKind kind;
};
using PersonalParts = std::vector<PersonalPart>;

/** Masks a unit of a part that was found. It belongs to no word, name or path. */
inline constexpr char16_t kMasked = 0xFFFF;

bool IsFigure(char16_t unit);
bool IsAsciiLetter(char16_t unit);
bool IsSeparator(char16_t unit);
/** Whether a word can contain the unit. */
bool IsWord(char16_t unit);
/** Whether the text has `upper`, which is Folded(), at `at`. */
bool StartsWith(std::u16string_view text, std::size_t at, std::u16string_view upper);

/** The full-width form of ASCII becomes ASCII; other units stay. */
char16_t WithoutWidth(char16_t unit);
/** Returns the unit there and advances `at` behind it. A percent escape counts as the byte that it means. */
char16_t TakeByte(std::u16string_view text, std::size_t& at);
/** Adds all words between two places of the text. */
void AddWords(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts);

/**
 * Adds the numbers of each SID that identify the machine, the domain or the directory user, and masks the
 * SID: its other numbers are the same on every machine.
 */
void FindSids(std::u16string& text, PersonalParts& parts);

/** Names to find, by the units with which they begin in a text. */
class NameIndex {
 public:
  explicit NameIndex(const std::vector<PersonalName>& names = {});

  /** Returns the names that may begin with the unit, which is Folded(), in their order. */
  const std::vector<std::size_t>& At(char16_t unit) const { return byUnit_[unit]; }
  const PersonalName& operator[](std::size_t number) const { return names_[number]; }

 private:
  std::vector<PersonalName> names_;
  std::vector<std::vector<std::size_t>> byUnit_;
};

/**
 * Adds each place with one of the names, of which the first that fits counts. Also finds them with percent
 * escapes, in full width, and as UTF-8 with one byte in each unit. Codes of products are searched for GUIDs
 * only, because a name of the letters A to F may be in a code by chance.
 * @param withShort  also find names of fewer than four letters, as words of their own
 */
void FindNames(std::u16string_view text, const NameIndex& names, bool withShort, PersonalParts& parts);

}  // namespace capture

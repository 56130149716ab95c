/**
 * Finds the parts of a text that identify a person or machine. Names are Folded() (Text.h). A text is UTF-16,
 * or the bytes of a narrow text with one byte in each unit. Parts that are found are masked, so that they are
 * found once.
 */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CodePages.h"

namespace capture {

/** NamePart: one part of a person's name, such as the surname. */
enum class PersonalKind { User, Computer, Organization, Guid, Sid, Word, Variable, NamePart };

/** A part of a text to hide. */
struct PersonalPart {
  std::size_t at;
  std::size_t size;
  PersonalKind kind;
};
using PersonalParts = std::vector<PersonalPart>;

/** A name to find. */
struct PersonalName {
  std::u16string text;
  PersonalKind kind;
  /** Whether it is also found inside words. */
  bool inWords;
  /** The units with which it begins in a text, Folded(). */
  std::u16string begins;
  /** The code page of the texts in which it is found; null for UTF-16 and UTF-8. Borrowed. */
  const CodePage* page = nullptr;
};

/**
 * Names of this length are also found inside words. Shorter names are in too many words, and are found only
 * as words of their own.
 */
inline constexpr std::size_t kTellingChars = 4;

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

/** Whether it is a name of Windows. A user with such a name cannot be distinguished from it, so it is not
 * hidden. */
bool IsWindowsOwnName(std::u16string_view name);
/** Whether the name is long and rare enough to be found inside words. */
bool IsSoughtInWords(std::u16string_view name);

/**
 * Adds the numbers of each SID that identify the machine, the domain or the directory user, and masks the
 * SID: its other numbers are the same on every machine.
 */
void FindSids(std::u16string& text, PersonalParts& parts);

/**
 * Adds each place with one of the names, of which the first that fits counts. Also finds them with percent
 * escapes, in full width, and as UTF-8 with one byte in each unit. Codes of products are searched for GUIDs
 * only, because a name of the letters A to F may be in a code by chance.
 * @param withShort  also find names of fewer than four letters, as words of their own
 */
void FindNames(std::u16string_view text, std::span<const PersonalName> names, bool withShort,
               PersonalParts& parts);

/** Returns the parts of a person's name that have four letters or more and are not the whole name. */
std::vector<std::u16string> PartsOfName(std::u16string_view name);

}  // namespace capture

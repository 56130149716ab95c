/** Rules about names of persons and machines: which are common, which are Windows' own, and their parts.
 * Names are Folded() (Text.h). */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "CodePages.h"

namespace capture {

/** NamePart: one part of a person's name, such as the surname. */
enum class PersonalKind { User, Computer, Organization, Guid, Sid, Word, Variable, NamePart };

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

/** Whether it is a name of Windows. A user with such a name cannot be distinguished from it, so it is not
 * hidden. */
bool IsWindowsOwnName(std::u16string_view name);
/** Whether the name is long and rare enough to be found inside words. */
bool IsSoughtInWords(std::u16string_view name);

/** Returns the parts of a person's name that have four letters or more and are not the whole name. */
std::vector<std::u16string> PartsOfName(std::u16string_view name);

}  // namespace capture

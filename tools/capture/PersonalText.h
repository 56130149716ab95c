/**
 * Finds in a text what tells whose it is. Names are folded (Text.h); a text is UTF-16, or the bytes of a
 * narrow text, one in each unit. What has been found already is masked, and then found no more.
 */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace capture {

enum class PersonalKind { User, Computer, Organization, Guid, Sid, Word, Variable };

/** A part of a text that is to be hidden. */
struct PersonalPart {
  std::size_t at;
  std::size_t size;
  PersonalKind kind;
};
using PersonalParts = std::vector<PersonalPart>;

/** What is sought as it stands. */
struct PersonalName {
  std::u16string text;
  PersonalKind kind;
  /** Found inside of words as well. */
  bool inWords;
};

/**
 * From this length on a name gives itself away inside of another word, too: shorter ones stand in too many
 * and are sought as words of their own alone.
 */
inline constexpr std::size_t kTellingChars = 4;

/** Stands in for what was found: no part of a word, of a name or of a path's sign. */
inline constexpr char16_t kMasked = 0xFFFF;

bool IsFigure(char16_t unit);
bool IsSeparator(char16_t unit);
/** Whether the unit can be part of a word. */
bool IsWord(char16_t unit);
/** Whether the text, from there on, begins with what is given folded. */
bool StartsWith(std::u16string_view text, std::size_t at, std::u16string_view upper);

/** Windows' own words; a user of that name cannot be told from them. */
bool IsWindowsOwnName(std::u16string_view name);
/** Whether it is long and rare enough to give itself away inside of other words. */
bool IsSoughtInWords(std::u16string_view name);

/**
 * Adds of each SID the numbers of the machine, the domain or the directory's user, and masks the SID whole:
 * its other numbers are the same on every machine.
 */
void FindSids(std::u16string& text, PersonalParts& parts);

/**
 * Adds where the names stand, the first that fits at each place. In the codes of products, which are written
 * like GUIDs, only GUIDs are looked for: a name of letters from A to F stands there by chance.
 * @param withShort  also names of fewer than four letters, as words of their own
 */
void FindNames(std::u16string_view text, std::span<const PersonalName> names, bool withShort,
               PersonalParts& parts);

/** Adds the words of mail addresses, but for the last one of the domain. */
void FindMailAddresses(std::u16string_view text, PersonalParts& parts);

/**
 * Adds user and password of addresses that hold them.
 * @param isProxy  whether the text is a list of proxies, whose addresses need not begin with a scheme
 */
void FindCredentials(std::u16string_view text, bool isProxy, PersonalParts& parts);

}  // namespace capture

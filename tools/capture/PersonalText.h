/**
 * Finds in a text what tells whose it is. Names are folded (Text.h); a text is UTF-16, or the bytes of a
 * narrow text, one in each unit.
 */
#pragma once

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace capture {

enum class PersonalKind { User, Computer, Guid, Sid, Word };

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

/** Windows' own words; a user of that name cannot be told from them. */
bool IsWindowsOwnName(std::u16string_view name);
/** Whether it is long and rare enough to give itself away inside of other words. */
bool IsSoughtInWords(std::u16string_view name);

/** The folders of users: those below \\Users\\, those elsewhere, and what variables stand for. */
class UserFolders {
 public:
  /**
   * @param paths      whole, folded
   * @param variables  those whose values lie in a user's folder, in capitals
   */
  UserFolders(std::vector<std::u16string> paths, std::set<std::u16string> variables)
      : paths_(std::move(paths)), variables_(std::move(variables)) {}

  /** Adds the users' names of folders, and the words of the paths below them. */
  void Find(std::u16string_view text, PersonalParts& parts) const;

 private:
  std::size_t FolderAt(std::u16string_view text, std::size_t at, PersonalParts& parts) const;

  const std::vector<std::u16string> paths_;
  const std::set<std::u16string> variables_;
};

/** Adds of each SID the numbers of the machine, the domain or the directory's user. */
void FindSids(std::u16string_view text, PersonalParts& parts);

/**
 * Adds where the names stand, the first that fits at each place.
 * @param withShort  also names of fewer than four letters, as words of their own
 */
void FindNames(std::u16string_view text, std::span<const PersonalName> names, bool withShort,
               PersonalParts& parts);

}  // namespace capture

/** Finds in a text the folders of users, and what is called how below them. */
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "PersonalText.h"

namespace capture {

/** What a variable stands for. */
enum class VariableValue {
  UsersFolder,  ///< a folder of a user, or one below
  OtherPath,    ///< a path from a drive on, elsewhere
  OtherText
};

/** Where users' folders are on a machine. Paths are whole and folded, names of variables in capitals. */
struct FolderPlaces {
  /** Folders of users, each called like its user. */
  std::vector<std::u16string> folders = {};
  /** Folders in which each folder is a user's, beside those that every machine has. */
  std::vector<std::u16string> roots = {};
  /** Other folders of one user, such as one that is copied to another machine. */
  std::vector<std::u16string> others = {};
  /** All that are set. */
  std::map<std::u16string, VariableValue> variables = {};
  /** Those that a capture holds: their names stay, as texts could not be expanded without them. */
  std::set<std::u16string> captured = {};
};

/** Whether the variable is, on every machine, of one user and stands for a folder of that user's. */
bool IsUsersVariable(std::u16string_view upper);

class UserFolders {
 public:
  explicit UserFolders(FolderPlaces places);

  /**
   * Adds users' names of folders, and all words of the paths below them: up to the end of the text, the
   * beginning of another path, or the quote that ends the path.
   * @param withUnset  whether a path that begins with a variable which is not set is taken for a user's
   */
  void Find(std::u16string_view text, bool withUnset, PersonalParts& parts) const;

  /** Takes note of new names of captured variables, beside those that they have. */
  void Rename(const std::function<std::u16string(std::u16string)>& newName);

  /** How much of the text is a captured variable between its signs; 0 where there is none. */
  std::size_t VariableSize(std::u16string_view text, std::size_t at) const;

 private:
  std::size_t FolderAt(std::u16string_view text, std::size_t at, bool withUnset, PersonalParts& parts) const;
  std::size_t VariableFolderAt(std::u16string_view text, std::size_t at, bool withUnset) const;
  std::size_t BelowRoot(std::u16string_view text, std::size_t at, PersonalParts& parts) const;
  std::size_t FindWords(std::u16string_view text, std::size_t at, bool isQuoted, PersonalParts& parts) const;
  bool IsOtherPathAt(std::u16string_view text, std::size_t at) const;

  FolderPlaces places_;
};

}  // namespace capture

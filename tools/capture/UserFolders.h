/** Finds user folders in a text, and the file names below them. */
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "PersonalText.h"

namespace capture {

/** The kind of a variable's value. */
enum class VariableValue {
  UsersFolder,  ///< a user folder, or a folder below it
  OtherPath,    ///< another full path
  OtherText
};

/** The user folders of a machine. Paths are full and Folded(); names of variables are in capitals. */
struct FolderPlaces {
  /** User folders; the last name is that of the user. */
  std::vector<std::u16string> folders = {};
  /** Folders that contain user folders, in addition to the usual ones. */
  std::vector<std::u16string> roots = {};
  /** Other folders of a user, such as a synchronised folder. */
  std::vector<std::u16string> others = {};
  /** All variables that are set. */
  std::map<std::u16string, VariableValue> variables = {};
  /** The captured variables. Their names stay, because texts are expanded with them. */
  std::set<std::u16string> captured = {};
};

/** Whether this variable is a folder of the user on every machine. @param upper  the name in capitals */
bool IsUsersVariable(std::u16string_view upper);

class UserFolders {
 public:
  explicit UserFolders(FolderPlaces places);

  /**
   * Adds the names of user folders and all words of the paths below them. A path ends at the end of the text,
   * at the start of another path, at a NUL or similar control character, or at the quote that closes it.
   * @param withUnset  whether a path that begins with a variable that is not set counts as a user's path
   */
  void Find(std::u16string_view text, bool withUnset, PersonalParts& parts) const;

  /** Adds the new names of captured variables; the old names stay known. */
  void Rename(const std::function<std::u16string(std::u16string)>& newName);

  /** Returns the length of the captured variable, with its percent signs, at `at`; 0 if none is there. */
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

/**
 * Takes out of a captured machine what tells whose it is: names of users and of the machine, the machine's
 * part of SIDs, its GUID, and what is called how below a user's folder.
 *
 * Each becomes a stand-in of the same length, the same one wherever it stands and whatever its case, so that
 * what is compared, cut off or counted comes out as on the machine itself. Texts are searched as UTF-16 of
 * either byte order at any byte, and as narrow text, so that it does not matter of which type a value is.
 */
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedMachine.h"
#include "PersonalText.h"
#include "StandIns.h"

namespace capture {

/** What is known of whose machine it is. */
struct Identity {
  std::vector<std::u16string> users;
  std::vector<std::u16string> computers;
  /** Of the form that MachineGuid has. */
  std::vector<std::u16string> guids;
  /** Whole paths of users' folders, folded. */
  std::vector<std::u16string> folders;
  /** The variables, in capitals; those whose values lie in a user's folder are among both. */
  std::set<std::u16string> variables;
  std::set<std::u16string> folderVariables;
};

/** Asks the machine, whose environment is captured. */
Identity ReadIdentity(const CapturedMachine& machine);

class Redactor {
 public:
  explicit Redactor(const Identity& identity);

  /** Takes note of the names in a text, of which none may serve as a stand-in for another. */
  void Learn(std::u16string_view text);
  void Learn(const CapturedValue& value);
  /** To be called when all has been learnt: puts the names into the list of what is to be hidden. */
  void EndLearning();

  void Hide(std::u16string& text);
  void Hide(CapturedValue& value);
  /** @param isText  whether it is meant to be UTF-16 */
  void Hide(std::span<std::uint8_t> bytes, bool isText);

 private:
  using PersonalNames = std::vector<PersonalName>;

  void AddName(const std::u16string& text, PersonalKind kind);
  void AddNumbers(const std::u16string& sid);
  bool Replace(std::u16string& text, const PersonalNames& names, bool withShort);
  void HideBehindZero(std::span<std::uint8_t> bytes);
  void HideNumbers(std::span<std::uint8_t> bytes);

  const UserFolders folders_;
  /** Names of variables, in capitals: what Windows expands must still be found by its name. */
  const std::set<std::u16string> variables_;
  StandIns standIns_;
  std::map<std::u16string, PersonalKind> names_;
  PersonalNames wide_;
  /** The same, and as a code page has them, for the bytes of narrow texts, one in each unit. */
  PersonalNames narrow_;
  /** Bytes of the machine's part of a SID, and what stands in. */
  std::vector<std::pair<std::string, std::string>> numbers_;
};

/** Redacts all that the capture holds. */
void Redact(CapturedMachine& machine, const Identity& identity);

}  // namespace capture

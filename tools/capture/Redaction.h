/**
 * Takes out of a captured machine what tells whose it is: names of users, of owners and of the machine, the
 * machine's part of SIDs, its GUID, mail addresses, passwords, and what is called how below a user's folder.
 *
 * Each becomes a stand-in of the same length, the same one wherever it stands, with capitals where it has
 * them, so that what is compared, cut off or counted comes out as on the machine itself. Texts are searched
 * as UTF-16 of either byte order at any byte, and as narrow text, so that it does not matter of which type a
 * value is.
 */
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedMachine.h"
#include "PersonalText.h"
#include "StandIns.h"
#include "UserFolders.h"

namespace capture {

/** What is known of whose machine it is. */
struct Identity {
  std::vector<std::u16string> users = {};
  std::vector<std::u16string> computers = {};
  std::vector<std::u16string> organizations = {};
  /** Of the form that MachineGuid has. */
  std::vector<std::u16string> guids = {};
  FolderPlaces places = {};
};

/** Asks the machine, whose registry and environment are captured. */
Identity ReadIdentity(const CapturedMachine& machine);

/** What bytes may hold. */
enum class Search {
  Text,  ///< names of any length
  Data,  ///< no names of fewer than four letters, which it holds by chance
  File  ///< nor mail addresses, passwords and variables that are not set: pictures hold their signs by chance
};

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
  void Hide(std::span<std::uint8_t> bytes, Search search);
  /** Each name of the path on its own: keys of one name keep one. */
  void HideKey(std::u16string& path);
  /** The name of a variable, which stays one of Windows' own and else is the same wherever it stands. */
  void HideVariable(std::u16string& name);

 private:
  using PersonalNames = std::vector<PersonalName>;
  /** How a text is searched. */
  struct Manner {
    const PersonalNames& names;
    Search search;
    bool holdsProxies = false;
    bool holdsOwner = false;
  };

  void AddGuid(const std::u16string& text);
  void AddName(const std::u16string& text, PersonalKind kind);
  void AddBytes(const std::string& bytes, const std::string& standIn);
  PersonalParts Find(std::u16string_view text, const Manner& manner) const;
  std::u16string StandIn(std::u16string_view text, PersonalKind kind, const PersonalNames& names);
  bool Replace(std::u16string& text, const Manner& manner);
  void HideIn(std::span<std::uint8_t> bytes, Search search, const CapturedValue* value);
  void HideBehindZero(std::span<std::uint8_t> bytes, const Manner& manner);
  void HideRaw(std::span<std::uint8_t> bytes);

  UserFolders folders_;
  StandIns standIns_;
  std::map<std::u16string, PersonalKind> names_;
  PersonalNames wide_;
  /** The same, and as a code page has them, for the bytes of narrow texts, one in each unit. */
  PersonalNames narrow_;
  /** Bytes of the machine's part of a SID, or of its GUID, and what stands in. */
  std::vector<std::pair<std::string, std::string>> raw_;
};

/** Redacts all that the capture holds. */
void Redact(CapturedMachine& machine, const Identity& identity);

}  // namespace capture

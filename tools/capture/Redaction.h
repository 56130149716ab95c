/**
 * Removes from a captured machine what identifies its owner: names of users, owners and the machine, the
 * machine's part of SIDs, its GUID, mail addresses, accounts, passwords, and the file names below user
 * folders. docs/support.md lists hidden and kept data.
 *
 * Each name becomes a stand-in of the same length, the same one in all places, with capitals where the name
 * has them. So texts compare, sort and overflow as they do on the machine. Values of any type are searched as
 * UTF-16 of both byte orders at any byte, and as narrow text.
 */
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedMachine.h"
#include "HiddenBytes.h"
#include "PersonalText.h"
#include "StandIns.h"
#include "UserFolders.h"

namespace capture {

/** What identifies the machine and its users. */
struct Identity {
  std::vector<std::u16string> users = {};
  std::vector<std::u16string> computers = {};
  std::vector<std::u16string> organizations = {};
  /** In the form of MachineGuid. */
  std::vector<std::u16string> guids = {};
  FolderPlaces places = {};
};

/** Reads the identity. REQUIRES: registry and environment are captured. */
Identity ReadIdentity(const CapturedMachine& machine);

/** How thoroughly data is searched. */
enum class Search {
  Text,  ///< names of any length
  Data,  ///< no names of fewer than four letters, which data contains by chance
  File   ///< also no mail addresses, passwords and unset variables, because pictures contain their signs by
         ///< chance
};

class Redactor {
 public:
  explicit Redactor(const Identity& identity);

  /** Collects the names in a text. No stand-in will be equal to one of them. */
  void Learn(std::u16string_view text);
  void Learn(const CapturedValue& value);
  /** Call it after the last Learn() and before the first Hide(). */
  void EndLearning();

  void Hide(std::u16string& text);
  void Hide(CapturedValue& value);
  void Hide(std::span<std::uint8_t> bytes, Search search);
  /** Hides each name of the path separately, so that equal names of keys stay equal. */
  void HideKey(std::u16string& path);
  /** Hides the name of a variable, equally in all places; names of Windows stay. */
  void HideVariable(std::u16string& name);

 private:
  using PersonalNames = std::vector<PersonalName>;
  /** The way in which a text is searched. */
  struct Manner {
    const NameIndex& names;
    Search search;
    bool holdsProxies = false;
    bool holdsOwner = false;
  };

  void AddGuid(const std::u16string& text);
  void AddName(const std::u16string& text, PersonalKind kind);
  void AddBytes(const std::string& bytes, const std::string& standIn);
  PersonalParts Find(std::u16string_view text, const Manner& manner) const;
  std::u16string StandIn(std::u16string_view text, PersonalKind kind, const NameIndex& names);
  void HideParts(std::u16string_view text, View view, const Manner& manner, bool mayOverlap,
                 HiddenBytes& hidden);
  void HideIn(std::span<std::uint8_t> bytes, Search search, const CapturedValue* value);
  void HideRaw(std::span<std::uint8_t> bytes);

  UserFolders folders_;
  StandIns standIns_;
  std::map<std::u16string, PersonalKind> names_;
  PersonalNames wide_;
  /** The names as they are found in narrow texts, with one byte in each unit: in UTF-8 and in each code page.
   */
  PersonalNames narrow_;
  /** The same names. Empty while names are learnt. */
  NameIndex wideIndex_, narrowIndex_;
  /** The bytes of the machine's part of a SID or of its GUID, with the bytes that replace them. */
  std::vector<std::pair<std::string, std::string>> raw_;
};

/** Redacts everything in the capture. */
void Redact(CapturedMachine& machine, const Identity& identity);

}  // namespace capture

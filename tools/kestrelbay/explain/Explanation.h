/**
 * Why a scan lists what it lists: every key that it looked at, in its order, with what was read, what was
 * decided, and where the fields of each record came from. Made by a scan of its own, which runs as any other.
 *
 * All text is UTF-8; a lone surrogate becomes U+FFFD.
 */
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "inventory/ScanEvents.h"

namespace kestrelbay {

struct KeyPath {
  std::string root;  ///< such as "HKEY_LOCAL_MACHINE"
  std::string path;  ///< as opened: no Wow6432Node segment
  RegistryView view = kDefaultView;
};

/** A key that was opened on the way, or could not be. */
struct ExplainedOpen {
  KeyPath key;
  platform::LSTATUS status = 0;
};

struct ExplainedValue {
  KeyPath key;
  std::string name;
  std::string text;  ///< empty for whatever cannot be read as a text: `found` tells why
  ValueFound found;
  std::optional<AppField> field;  ///< of the entry's record, which took the text
};

/** A user's branch of UserData in which a product was looked for. */
struct ExplainedBranch {
  std::string sid;
  Verdict verdict = Verdict::Accepted;
};

/** What became of a key. */
enum class Fate : std::uint8_t {
  Searched,  ///< a place: the keys below it are looked at
  Listed,    ///< its record stands in the list
  Merged,    ///< its record became one with a later one
  LeftOut,
  Unread,  ///< it did not open, or was not tried as another key did not open
};

struct ExplainedKey {
  ScanRoot place = ScanRoot::UninstallKey;
  bool isEntry = false;  ///< an entry of such a place, else the place itself
  KeyPath key;
  std::string name;                  ///< of an entry: the last part of its path
  RegistryView view = kDefaultView;  ///< through which it is looked at: that of UserData for a user's product
  platform::LSTATUS status = 0;      ///< of opening the key itself
  Verdict verdict = Verdict::Accepted;
  Fate fate = Fate::Searched;
  /** An entry's name as registered: what the scan read, and where it left the entry before, as it stands. */
  std::string displayName;
  std::vector<ExplainedOpen> opens;  ///< all that were tried for an entry, its own key first
  std::vector<ExplainedValue> values;
  std::vector<ExplainedBranch> branches;
  /** Index of the key whose record was the first of that name when this one's came. */
  std::optional<std::size_t> earlier;
  Agreement agreement;                    ///< what comparing the two gave
  std::optional<std::size_t> mergedInto;  ///< index of the key whose record took this one up
};

/** Where a field came from. No value's name: from the key as such, its place, its view or its time. */
struct FieldSource {
  KeyPath key;
  std::string value;
};

struct ExplainedField {
  std::string text;
  std::optional<FieldSource> source;  ///< nothing where the field is empty
};

struct ExplainedRecord {
  std::size_t key = 0;                                ///< index of the key that it was made of last
  std::array<ExplainedField, kAppFieldCount> fields;  ///< by AppField; a path as root and path in one

  const std::string& Text(AppField field) const { return fields[static_cast<std::size_t>(field)].text; }
};

struct Explanation {
  std::vector<ExplainedKey> keys;        ///< in the order of the scan
  std::vector<ExplainedRecord> records;  ///< in the order of the list
};

Explanation ExplainInstalledApps();

}  // namespace kestrelbay

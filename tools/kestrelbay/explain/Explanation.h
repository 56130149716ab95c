/**
 * Explains a scan: every key that it reads, in its order, with the values, the decisions, and the source of
 * each field of each record. An explanation runs a separate scan by the same rules.
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

/** A key that the scan tried to open. */
struct ExplainedOpen {
  KeyPath key;
  platform::LSTATUS status = 0;
};

struct ExplainedValue {
  KeyPath key;
  std::string name;
  std::string text;  ///< empty if the value cannot be read as a text; `found` has the reason
  ValueFound found;
  std::optional<AppField> field;  ///< the field of the record that has the text
};

/** A user's branch of UserData in which the scan searched a product. */
struct ExplainedBranch {
  std::string sid;
  Verdict verdict = Verdict::Accepted;
};

/** The result for a key. */
enum class Fate : std::uint8_t {
  Searched,  ///< a scan root: the keys below it are read
  Listed,    ///< its record is in the list
  Merged,    ///< its record was merged into a later one
  LeftOut,
  Unread,  ///< it cannot be opened, or was not tried because another key cannot be opened
};

struct ExplainedKey {
  ScanRoot place = ScanRoot::UninstallKey;
  bool isEntry = false;  ///< an entry below a scan root, otherwise the scan root itself
  KeyPath key;
  std::string name;                  ///< of an entry: the last part of its path
  RegistryView view = kDefaultView;  ///< view of the key; for a user's product, of UserData
  platform::LSTATUS status = 0;      ///< of opening the key itself
  Verdict verdict = Verdict::Accepted;
  Fate fate = Fate::Searched;
  /** The registered name of an entry. Read by the explanation if the scan did not read it. */
  std::string displayName;
  std::vector<ExplainedOpen> opens;  ///< all that the scan tried for an entry, its own key first
  std::vector<ExplainedValue> values;
  std::vector<ExplainedBranch> branches;
  /** Index of the key whose record had the same name and was added first. */
  std::optional<std::size_t> earlier;
  Agreement agreement;                    ///< the result of comparing the two
  std::optional<std::size_t> mergedInto;  ///< index of the key whose record has this one merged into it
};

/** The source of a field. If `value` is empty, it is the key itself: its path, view or write time. */
struct FieldSource {
  KeyPath key;
  std::string value;
};

struct ExplainedField {
  std::string text;
  std::optional<FieldSource> source;  ///< nullopt if the field is empty
};

struct ExplainedRecord {
  std::size_t key = 0;  ///< index of the key that was read last for it
  std::array<ExplainedField, kAppFieldCount>
      fields;  ///< by AppField; RegistryKey has root and path in one text

  const std::string& Text(AppField field) const { return fields[static_cast<std::size_t>(field)].text; }
};

struct Explanation {
  std::vector<ExplainedKey> keys;        ///< in the order of the scan
  std::vector<ExplainedRecord> records;  ///< in the order of the list
};

/** Runs a scan and explains it. */
Explanation ExplainInstalledApps();

}  // namespace kestrelbay

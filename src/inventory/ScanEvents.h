/**
 * What a scan does and decides, told step by step to whoever observes it. A scan acts on the same values, so
 * what is told is what happened; an ordinary scan has no observer and makes none of it.
 */
#pragma once

#include <bitset>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "base/RegistryKey.h"
#include "inventory/AppRecords.h"

namespace kestrelbay {

/** The fields of a record that a scan fills. */
enum class AppField : std::uint8_t {
  DisplayName,
  InstallLocation,
  DisplayVersion,
  UninstallString,
  RegistryKey,  ///< root and path
  Architecture,
  DisplayIcon,
  InstallDate,
  LastWriteTime,
};
inline constexpr std::size_t kAppFieldCount = 9;

/** A key below which entries stand, or without which nothing is read. */
enum class ScanRoot : std::uint8_t { InstallerProducts, UninstallKey, UserProducts, UserData };

/** What becomes of an entry: accepted as a record, or the first rule that it falls under. */
enum class Verdict : std::uint8_t {
  Accepted,
  Unopened,
  SystemComponent,
  NoUninstallString,
  NoName,
  PublisherExcluded,
  KnowledgeBaseName,  ///< an update, by the name of its key
  HasParent,          ///< an update, by its ParentKeyName
  UpdateRelease,      ///< an update, by its ReleaseType
  // Of a user's product in one branch of UserData:
  MachineBranch,
  BranchUnopened,
  NotInBranch,
  PropertiesUnopened,
  ProductKeyUnopened,
  // Of a user's product in all of them:
  InNoBranch,
  UserDataUnopened,
};

/** What came of comparing a record with the first of its name. */
struct Agreement {
  /** The field in which they disagree, so that both stay. Nothing where they became one. */
  std::optional<AppField> disagreement;
  /** Gaps of the newcomer that were filled from the earlier one, by AppField. */
  std::bitset<kAppFieldCount> filled;
};

/** @param status  0, or why the key did not open */
struct KeyTried {
  const RegistryKey& parent;
  const std::u16string& path;
  RegistryView view;
  platform::LSTATUS status;
};

struct ScanRootTried {
  ScanRoot place;
  KeyTried key;
};

/** The entry `name` of a place is looked at; what follows concerns it, up to EntryJudged. */
struct EntryBegun {
  ScanRoot place;
  const RegistryKey& key;
  const std::u16string& name;
  RegistryView view;  ///< of UserData for a user's product, else of `key`
};

struct ValueRead {
  const RegistryKey& key;
  const char16_t* name;
  const std::u16string& text;
  ValueFound found;
  std::optional<AppField> field;  ///< that took the text
};

/** The record stands for this key: it has its place, view and time. */
struct KeyTaken {
  const RegistryKey& key;
};

/** A user's product was looked for in one branch of UserData. */
struct BranchJudged {
  const std::u16string& sid;
  Verdict verdict;
};

/** @param added  as it stands in the list, where it stays as long as the scan */
struct RecordAdded {
  const AppRecord& added;
  const AppRecord* earlier;  ///< the first of its name until then, or null
  const Agreement& agreement;
};

struct EntryJudged {
  Verdict verdict;
};

/** The products of a user are not looked at in this view, as UserData does not open there. */
struct ProductsUnread {
  const RegistryKey& userProducts;
  RegistryView view;
};

using ScanEvent = std::variant<ScanRootTried, EntryBegun, KeyTried, ValueRead, KeyTaken, BranchJudged,
                               RecordAdded, EntryJudged, ProductsUnread>;

/** Called on the scan's thread; what an event refers to is there during the call only. */
using ScanObserver = std::function<void(const ScanEvent&)>;

/** @param observer  null where nobody observes */
template <class Event>
inline void Notify(const ScanObserver* observer, const Event& event) {
  if (observer) [[unlikely]]
    (*observer)(event);
}

}  // namespace kestrelbay

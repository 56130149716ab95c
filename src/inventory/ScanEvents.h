/**
 * The steps and decisions of a scan, reported one by one to its observer. The scan acts on the same values
 * that it reports. A scan without an observer makes no events.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "base/RegistryKey.h"
#include "inventory/Merge.h"

namespace kestrelbay {

/** A key below which entries are, or without which nothing is read. */
enum class ScanRoot : std::uint8_t { InstallerProducts, UninstallKey, UserProducts, UserData };

/** The decision about an entry: accepted as a record, or the first rule that rejects it. */
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

/** The scan tried to open a key of the current entry. */
struct KeyTried {
  const RegistryKey& parent;
  const std::u16string& path;
  RegistryView view;
  platform::LSTATUS status;  ///< 0, or the error of the open
};

struct ScanRootTried {
  ScanRoot scanRoot;
  KeyTried key;
};

/** The scan starts with the entry `name` of a scan root. The events up to EntryJudged concern this entry. */
struct EntryBegun {
  ScanRoot scanRoot;
  const RegistryKey& key;
  const std::u16string& name;
  RegistryView view;  ///< of UserData for a user's product, else of `key`
};

struct ValueRead {
  const RegistryKey& key;
  const char16_t* name;
  const std::u16string& text;
  ValueFound found;
  std::optional<AppField> field;  ///< the field that takes the text
};

/** The record takes root, path, view and time of this key. */
struct KeyTaken {
  const RegistryKey& key;
};

/** The scan searched one branch of UserData for a user's product. */
struct BranchJudged {
  const std::u16string& sid;
  Verdict verdict;
};

/** A record entered the list. If the two agree, `earlier` leaves the list after the event. */
struct RecordAdded {
  const AppRecord& added;    ///< in the list, where it keeps its address
  const AppRecord* earlier;  ///< the first record of its name until now, or null
  const Agreement& agreement;
};

struct EntryJudged {
  Verdict verdict;
};

/** The scan skips the products of a user in this view, because UserData does not open in it. */
struct ProductsUnread {
  const RegistryKey& userProducts;
  RegistryView view;
};

using ScanEvent = std::variant<ScanRootTried, EntryBegun, KeyTried, ValueRead, KeyTaken, BranchJudged,
                               RecordAdded, EntryJudged, ProductsUnread>;

/** Called on the thread of the scan. The references in an event are valid only during the call. */
using ScanObserver = std::function<void(const ScanEvent&)>;

}  // namespace kestrelbay

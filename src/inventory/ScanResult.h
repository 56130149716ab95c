/** The list that a scan fills, and the one rule by which a record enters it. */
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "inventory/AppRecords.h"
#include "inventory/NameIndex.h"
#include "inventory/ScanEvents.h"

namespace kestrelbay {

/**
 * The records of one scan in list order. Finding the first of a name and taking it out cost the same however
 * long the list is. Used by one thread.
 */
class ScanResult {
 public:
  /** @param scanObserver  told what the scan that fills this list does; null in every ordinary scan */
  explicit ScanResult(const ScanObserver* scanObserver = nullptr) : observer(scanObserver) {}

  const ScanObserver* const observer;

  /**
   * @return a record of empty texts to fill and add, the same each time: reading the next entry takes the
   * memory that the last one's texts left
   */
  InstalledAppInfo& BlankRecord();

  /** @return the first record in list order with exactly this name, or null */
  const AppRecord* FindFirst(std::u16string_view displayName) const;
  /** @return the record as it stands in the list, where it stays also when it is taken out */
  const AppRecord& Append(const InstalledAppInfo& record);
  /** Takes out the first record of that name, which must be there; those behind it move up. */
  void RemoveFirst(std::u16string_view displayName);

  /** Empties the list. @return its records in list order */
  AppRecords Take();

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  /** What is known of the record at the same index. */
  struct Link {
    std::uint32_t nextOfName = kNone;
    bool isRemoved = false;
  };
  struct RecordsOfName {
    std::uint32_t first = kNone;
    std::uint32_t last = kNone;
  };

  InstalledAppInfo blank;
  AppRecords records;  // a removed record keeps its name: the index looks at it
  std::vector<Link> links;
  NameIndex names;
  std::vector<RecordsOfName> recordsOfName;  // by the name's number
};

/**
 * Adds a record, or merges it with the first of its name where the two agree: view, icon, location and
 * version are the same where both know them, and no more than one has an uninstall command, unless the
 * newcomer's is the earlier one's version. A merged record stands at the end, with gaps filled from the
 * earlier one and the earlier one's place in the registry. Where they disagree both stay, the newcomer with
 * what was filled before they did.
 * @param record  is filled in place and then copied into the list
 */
void AddOrMergeApp(ScanResult& list, InstalledAppInfo& record);

/** The order of a finished list: by name, ASCII capitals as small letters, compared by code unit. */
bool AppNameLess(std::u16string_view left, std::u16string_view right);

/** @return indexes of records in the order of AppNameLess, equal ones as they stand. No name holds a NUL. */
std::vector<std::uint32_t> OrderByName(const AppRecords& records);

}  // namespace kestrelbay

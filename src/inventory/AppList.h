/** The list that a scan fills, and the one rule by which a record enters it. */
#pragma once

#include <cstdint>
#include <deque>
#include <memory_resource>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "inventory/InstalledAppInfo.h"

namespace kestrelbay {

/** Finished records in the order in which clients see them. */
using InstalledAppList = std::vector<InstalledAppInfo>;

/**
 * The records of one scan in list order. Finding the first of a name and taking it out cost the same however
 * long the list is. Used by one thread.
 */
class AppList {
 public:
  /** @return the first record in list order with exactly this name, or null */
  const InstalledAppInfo* FindFirst(std::u16string_view displayName) const;
  void Append(InstalledAppInfo record);
  /** Takes out the first record of that name, which must be there; those behind it move up. */
  void RemoveFirst(std::u16string_view displayName);

  /** Empties the list. @return its records in list order */
  InstalledAppList Take();

 private:
  struct Slot {
    InstalledAppInfo record;
    Slot* nextOfName = nullptr;
    bool removed = false;
  };
  struct SlotsOfName {
    Slot* first;
    Slot* last;
  };

  // Given back as a whole: a long list would otherwise leave as many gaps between the texts of its records.
  std::pmr::monotonic_buffer_resource memory;
  std::pmr::deque<Slot> slots{&memory};  // a removed slot keeps its name: the index below looks at it
  std::pmr::unordered_map<std::u16string_view, SlotsOfName> slotsOfName{&memory};
};

/**
 * Adds a record, or merges it with the first of its name when the two places agree: one view, icon, location
 * and version, where both know them. A merged record stands at the end, with gaps filled from the earlier one
 * and the earlier one's place in the registry.
 */
void AddOrMergeApp(AppList& list, InstalledAppInfo record);

/** The order of a finished list: by name, ASCII capitals as small letters, compared by code unit. */
bool AppNameLess(const InstalledAppInfo& left, const InstalledAppInfo& right);

/** @return indexes of the records in the order of AppNameLess, equal ones as they stand. No name holds a NUL.
 */
std::vector<std::uint32_t> OrderByName(const InstalledAppList& records);

/** @return the records in the order of these indexes, each of which stands there once */
InstalledAppList InOrder(InstalledAppList records, const std::vector<std::uint32_t>& order);

}  // namespace kestrelbay

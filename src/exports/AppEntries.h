/** The host's form of a list of applications. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "KestrelbayGeneralSDK.h"
#include "inventory/AppRecords.h"

namespace kestrelbay {

/** @return an array of `count` entries without texts, to be freed by DeleteEntries; never null, even for 0 */
InstalledAppEntry* NewEntries(std::size_t count);

/**
 * Copies a list into the host's form, in list order. Each text is a malloc block.
 * @param entries  array of at least `apps.size()` entries
 */
void FillEntries(const AppRecords& apps, InstalledAppEntry* entries);

/**
 * Frees an array of NewEntries.
 * @param entries  null is allowed and frees nothing
 * @param count    how many entries have their texts freed; 0 or less frees none of them
 */
void DeleteEntries(InstalledAppEntry* entries, std::int32_t count);

}  // namespace kestrelbay

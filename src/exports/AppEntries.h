/** Copies a list of applications into the records of the host. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "KestrelbayGeneralSDK.h"
#include "inventory/AppRecords.h"

namespace kestrelbay {

/** @return an array of `count` entries without texts, which DeleteEntries frees; never null, even for 0 */
InstalledAppEntry* NewEntries(std::size_t count);

/**
 * Copies a list into `entries`, in list order. Each text is a malloc block.
 * @param entries  array of at least `apps.size()` entries
 */
void FillEntries(const AppRecords& apps, InstalledAppEntry* entries);

/**
 * Frees an array of NewEntries.
 * @param entries  null is allowed and frees nothing
 * @param count    number of entries whose texts are freed; 0 or less frees the array only
 */
void DeleteEntries(InstalledAppEntry* entries, std::int32_t count);

}  // namespace kestrelbay

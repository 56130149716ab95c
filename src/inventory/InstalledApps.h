/**
 * The inventory: the installed applications, read anew at each call.
 *
 * There is no error result. A key that cannot be read adds nothing, so a list may be empty. Thread-safe: each
 * call has its own list.
 */
#pragma once

#include <memory>
#include <string>

#include "inventory/AppRecords.h"

namespace kestrelbay {

/** @return all records sorted by name, without icon texts; equal names keep the order of the scan */
AppRecords ScanInstalledApps();

/**
 * @param includeIcons  whether to draw the icons of executables; nothing else depends on it
 * @return all records sorted by name, with their icon texts; never null
 */
std::unique_ptr<AppRecords> GetInstalledApps(bool includeIcons);

/**
 * Finds the first record with exactly this name. By design the inventory of each call stays allocated for the
 * life of the process, and so does the record.
 * @param displayName  UTF-8; crashes on null if the list has a record
 * @return null if there is no such record
 */
const AppRecord* FindInstalledApp(const char* displayName);

/**
 * Draws the icon of the first record with exactly this name. By design the inventory of each call stays
 * allocated for the life of the process.
 * @return an icon text; empty if there is no such record or no icon
 */
std::string GetAppIconByName(const std::u16string& displayName);

}  // namespace kestrelbay

/**
 * The inventory: what is installed on this machine, read afresh at every call.
 *
 * There is no error result. What cannot be read is not there, so a list may be empty. Any number of calls may
 * run at once; each works on a list of its own.
 */
#pragma once

#include <memory>
#include <string>

#include "inventory/AppRecords.h"

namespace kestrelbay {

/** @return all records in sorted order, without icon texts; equal names stay in the order of the scan */
AppRecords ScanInstalledApps();

/**
 * @param includeIcons  whether the icons of executables are drawn; nothing else depends on it
 * @return all records in sorted order with their icon texts; never null
 */
std::unique_ptr<AppRecords> GetInstalledApps(bool includeIcons);

/**
 * Finds the first record with exactly this name. The inventory that it asks stays allocated for the life of
 * the process, so the record does too.
 * @param displayName  UTF-8; null faults once there is a name to compare it with
 * @return null where there is no such record
 */
const AppRecord* FindInstalledApp(const char* displayName);

/**
 * Draws the icon of the first record with exactly this name. The inventory that it asks stays allocated for
 * the life of the process.
 * @return an icon text, empty where there is no such record or no icon
 */
std::string GetAppIconByName(const std::u16string& displayName);

}  // namespace kestrelbay

/** Removes the registry entry of an application. */
#pragma once

#include <string>

namespace kestrelbay {

/**
 * Removes the entry of the first application in the list with exactly this name, below HKEY_LOCAL_MACHINE in
 * the view of the process. If the delete fails, starts an elevated command and does not wait for it.
 *
 * By design an entry in a user's hive or in the 32-bit view is not found there, counts as removed, and stays.
 * The inventory of each call stays allocated for the life of the process.
 *
 * @return true if the entry counts as removed or the command was started
 */
bool DeleteAppRegistryInfo(const std::u16string& displayName);

}  // namespace kestrelbay

/** Removing the registry entry of an application. */
#pragma once

#include <string>

namespace kestrelbay {

/**
 * Removes the entry of the first application in the list with exactly this name, below the machine's root in
 * the process's own view; what cannot be deleted is left to an elevated command that nothing waits for.
 *
 * An entry of a user's hive or of the 32-bit view is therefore not found where it is looked for, counts as
 * gone, and stays. The inventory that is asked stays allocated for the life of the process.
 *
 * @return true when the entry counts as removed or the command was started
 */
bool DeleteAppRegistryInfo(const std::u16string& displayName);

}  // namespace kestrelbay

/** Lists the apps folder of the shell, which contains every application that can be started. */
#pragma once

#include <string>
#include <vector>

namespace kestrelbay {

/** An item of the shell's apps folder. Either text may be empty. */
struct AppsFolderEntry {
  std::string displayName;  ///< the name for users
  std::string parsingName;  ///< starts it after "shell:AppsFolder\"
};

/**
 * Lists the apps folder in the order of the shell. Initialises COM on the calling thread, single-threaded,
 * and by design leaves it initialised.
 * @param entries  out: emptied first; after a failure, the items before it
 */
void EnumerateAppsFolder(std::vector<AppsFolderEntry>& entries);

}  // namespace kestrelbay

/** The shell's apps folder, which lists every application that can be started. */
#pragma once

#include <string>
#include <vector>

namespace kestrelbay {

/** An item of the shell's apps folder. Either text may be empty. */
struct AppsFolderEntry {
  std::string displayName;  ///< as shown to a person
  std::string parsingName;  ///< what the shell starts it by, behind "shell:AppsFolder\"
};

/**
 * Lists the apps folder in the shell's order. Initialises COM on the calling thread, single-threaded, and
 * leaves it initialised, because no caller could undo it.
 * @param entries  out: emptied first; after a failure it holds what was read before
 */
void EnumerateAppsFolder(std::vector<AppsFolderEntry>& entries);

}  // namespace kestrelbay

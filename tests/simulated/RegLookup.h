/** Reads hives with reglookup, an independent program, and shows keys as it does. */
#pragma once

#include <filesystem>
#include <set>
#include <string>

#include "simulated/registry/Key.h"

namespace simulated {

/**
 * Lines "PATH,KEY,,TIME" for each key, "PATH,DWORD,NUMBER" for each number and "PATH,TYPE" for each other
 * value. Leaves out names beyond ASCII, because reglookup prints them in more than one way.
 */
std::multiset<std::string> LinesOfRegLookup(const std::filesystem::path& hive);
/** The same lines for a key, as the root. */
std::multiset<std::string> LinesOfKey(Key& root);

}  // namespace simulated

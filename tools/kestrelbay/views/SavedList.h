/** Lists of installed applications that were saved from `list --json`. */
#pragma once

#include <string>
#include <vector>

#include "views/ListDifference.h"

namespace host {

/** @throws Failure that names the file, for whatever is no whole list */
std::vector<ListedApp> ReadSavedList(const std::string& path);

}  // namespace host

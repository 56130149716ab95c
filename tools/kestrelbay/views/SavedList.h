/** Lists of installed applications that were saved from `list --json`. */
#pragma once

#include <string>
#include <vector>

#include "views/ListDifference.h"

namespace cli {

/** @throws Failure that names the file, for whatever is no whole list */
std::vector<AppRecord> ReadSavedList(const std::string& path);

}  // namespace cli

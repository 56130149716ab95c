/** Lists of installed applications that `list --json` printed. */
#pragma once

#include <string>
#include <vector>

#include "views/ListDifference.h"

namespace cli {

/** Reads a list. @throws Failure, with the name of the file, if it is not a complete list */
std::vector<AppRecord> ReadSavedList(const std::string& path);

}  // namespace cli

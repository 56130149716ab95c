/** Lists of installed applications that `list --json` printed. */
#pragma once

#include <string>
#include <vector>

#include "views/ListDifference.h"

namespace cli {

/** Parses a list. @param path  of its file, for messages @throws Failure if it is not a complete list */
std::vector<AppRecord> ParseSavedList(const std::string& path, const std::string& text);

}  // namespace cli

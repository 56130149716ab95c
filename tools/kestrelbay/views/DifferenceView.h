/** Shows the difference of two lists. */
#pragma once

#include <nlohmann/json.hpp>

#include "console/Output.h"
#include "views/ListDifference.h"

namespace cli {

/** Prints a row for each field that differs, and the counts. */
void PrintDifferenceTable(Output& out, const ListDifference& difference);

/** The differences as one object: appeared, gone, changed and the count of the same. */
nlohmann::ordered_json DifferenceJson(const ListDifference& difference);

}  // namespace cli

/** An explanation as JSON. */
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "explain/ExplainText.h"

namespace cli {

/** Returns an object of keys, records and counts. Keys refer to one another by their numbers in the scan. */
nlohmann::ordered_json ToJson(const ExplainedPart& part);

}  // namespace cli

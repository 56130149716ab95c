/** An explanation as a program reads it. */
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "explain/ExplainText.h"

namespace cli {

/** An object of keys, records and counts; keys refer to one another by their numbers in the scan. */
nlohmann::ordered_json ToJson(const ExplainedPart& part);

}  // namespace cli

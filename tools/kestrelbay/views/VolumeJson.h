/** What --json says of an offline Windows volume. */
#pragma once

#include <nlohmann/json_fwd.hpp>

namespace cli {

/** Adds the member "volume" if the machine is a volume. */
void AddVolume(nlohmann::ordered_json& json);

}  // namespace cli

#include "views/VolumeJson.h"

#include <nlohmann/json.hpp>

#include "console/System.h"

namespace cli {

void AddVolume(nlohmann::ordered_json& json) {
  using Json = nlohmann::ordered_json;
  const auto volume = DescribeVolume();
  if (!volume) return;
  Json recovered = Json::array();
  for (const RecoveredHive& hive : volume->recovered)
    recovered.push_back({{"key", hive.key},
                         {"logEntries", hive.entries},
                         {"newestChange", hive.newestChange},
                         {"loss", hive.loss.empty() ? Json() : Json(hive.loss)}});
  json["volume"] = {{"windows", volume->windows.empty() ? Json() : Json(volume->windows)},
                    {"bits", volume->is32Bit ? 32 : 64},
                    {"recovered", recovered},
                    {"damage", volume->damage}};
}

}  // namespace cli

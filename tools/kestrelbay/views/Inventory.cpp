#include "views/Inventory.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace cli {

nlohmann::ordered_json ToJson(const InstalledAppEntry& app) {
  return {{"displayName", app.displayName},
          {"installLocation", app.installLocation},
          {"displayVersion", app.displayVersion},
          {"displayIcon", app.displayIcon},
          {"iconText", app.iconText},
          {"installDate", app.installDate},
          {"lastWriteTime", app.lastWriteTime},
          {"architecture", app.architecture}};
}

std::string ArchitectureName(std::int32_t architecture) {
  if (architecture == 1) return "x86";
  return architecture == 2 ? "x64" : "";
}

std::string DateText(std::string date) {
  const bool usual =
      date.size() == 8 && std::all_of(date.begin(), date.end(), [](char c) { return c >= '0' && c <= '9'; });
  return usual ? date.insert(6, "-").insert(4, "-") : date;
}

std::string CountText(std::size_t count) {
  if (count == 0) return "No applications";
  return std::to_string(count) + (count == 1 ? " application" : " applications");
}

}  // namespace cli

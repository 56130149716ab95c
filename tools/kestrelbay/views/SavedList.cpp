#include "views/SavedList.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "console/Failure.h"

namespace cli {
namespace {

using Json = nlohmann::json;

[[noreturn]] void Refuse(const std::string& where, const std::string& what) {
  throw Failure(where + ": " + what + "; save the list again with: kestrelbay list --json");
}

Json Parse(const std::string& path, const std::string& text) {
  const bool isUtf16 = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
  if (isUtf16) Refuse(path, "is UTF-16, as some shells write redirected output, and must be UTF-8");
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(error.byte, text.size()));
    const auto line = std::count(text.begin(), end, '\n') + 1;
    Refuse(path + ":" + std::to_string(line),
           error.byte > text.size() ? "ends in the middle" : "is not JSON from here on");
  } catch (const Json::out_of_range&) {
    Refuse(path, "has a number that is too large");
  }
}

const Json& Member(const Json& entry, std::string_view name, const std::string& where) {
  const auto member = entry.find(name);
  if (member == entry.end()) Refuse(where, "has no " + std::string(name));
  return *member;
}

AppRecord ReadApp(const Json& entry, const std::string& where) {
  if (!entry.is_object()) Refuse(where, "is not an application");
  AppRecord app;
  for (const ListedText& field : kListedTexts) {
    const Json& text = Member(entry, field.name, where);
    if (!text.is_string()) Refuse(where, std::string(field.name) + " is not a text");
    app.*field.text = text.get<std::string>();
  }
  const Json& architecture = Member(entry, "architecture", where);
  using Limits = std::numeric_limits<std::int32_t>;
  const bool isNumber =
      architecture.is_number_integer() && architecture >= Limits::min() && architecture <= Limits::max();
  if (!isNumber) Refuse(where, "architecture is not a whole number");
  app.architecture = architecture.get<std::int32_t>();
  // A field of a later version could differ, and the comparison would not show it.
  if (entry.size() > kListedTexts.size() + 1) Refuse(where, "has fields that no list of this version has");
  return app;
}

}  // namespace

std::vector<AppRecord> ParseSavedList(const std::string& path, const std::string& text) {
  const Json list = Parse(path, text);
  if (!list.is_array()) Refuse(path, "is not a list of applications");
  std::vector<AppRecord> apps;
  for (const Json& entry : list) {
    apps.push_back(ReadApp(entry, path + ": application " + std::to_string(apps.size() + 1)));
  }
  return apps;
}

}  // namespace cli

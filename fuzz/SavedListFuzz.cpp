/** Saved lists: refused in one line that names the file, or read so that they can be written and compared. */
#include <nlohmann/json.hpp>
#include <string>

#include "Expect.h"
#include "console/Failure.h"
#include "views/SavedList.h"

namespace {

using cli::AppRecord;

std::string Written(const std::vector<AppRecord>& apps) {
  nlohmann::json list = nlohmann::json::array();
  for (const AppRecord& app : apps) {
    nlohmann::json entry = {{"architecture", app.architecture}};
    for (const cli::ListedText& field : cli::kListedTexts) entry[std::string(field.name)] = app.*field.text;
    list.push_back(entry);
  }
  return list.dump();
}

void CheckList(const std::vector<AppRecord>& apps) {
  const std::vector<AppRecord> again = cli::ParseSavedList("again", Written(apps));
  fuzz::Expect(Written(again) == Written(apps), "a list survives writing and reading");
  const cli::ListDifference none = cli::CompareLists(apps, again, true);
  fuzz::Expect(none.apps.empty() && none.same == apps.size(), "a list is the same as itself");
  const cli::ListDifference gone = cli::CompareLists(apps, {}, true);
  fuzz::Expect(gone.apps.size() == apps.size() && gone.same == 0, "all of a list is gone from an empty one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const std::vector<AppRecord> apps = cli::ParseSavedList("list", std::string(data, data + size));
    fuzz::Outcome() = std::to_string(apps.size()) + " applications";
    CheckList(apps);
  } catch (const cli::Failure& failure) {
    fuzz::Outcome() = failure.what();
    fuzz::Expect(fuzz::Outcome().starts_with("list:"), "a refusal names the file");
    fuzz::Expect(fuzz::Outcome().find('\n') == std::string::npos, "a refusal is one line");
  }
  return 0;
}

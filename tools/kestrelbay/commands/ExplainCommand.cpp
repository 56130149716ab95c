#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>

#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "explain/ExplainJson.h"
#include "explain/ExplainText.h"
#include "views/VolumeJson.h"

namespace cli {
namespace {

using kestrelbay::AppField;
using kestrelbay::ExplainedKey;
using kestrelbay::Explanation;
using kestrelbay::Fate;

constexpr platform::LSTATUS kNotFound = 2;

bool IsNamed(const ExplainedKey& key, const std::string& folded) {
  const auto isIt = [&](const std::string& text) { return WithoutCaseAndBlanks(text) == folded; };
  const bool isInValues = std::ranges::any_of(key.values, [&](const kestrelbay::ExplainedValue& value) {
    return (value.name == "DisplayName" || value.name == "ProductName") && isIt(value.text);
  });
  return isInValues || isIt(key.displayName) || isIt(key.name);
}

/** Whether a place may hide any name: it is there and does not open, or nothing is listed without it. */
bool HidesNames(const ExplainedKey& key) {
  if (key.isEntry || key.fate != Fate::Unread) return false;
  return key.place == kestrelbay::ScanRoot::InstallerProducts || key.status != kNotFound;
}

ExplainedPart PartOf(const Explanation& all, const std::string& name) {
  ExplainedPart part{all, name, {}, {}};
  const std::string folded = WithoutCaseAndBlanks(name);
  for (std::size_t at = 0; at < all.keys.size(); ++at) {
    const ExplainedKey& key = all.keys[at];
    if (name.empty() || HidesNames(key) || (key.isEntry && IsNamed(key, folded))) part.keys.push_back(at);
  }
  for (std::size_t at = 0; at < all.records.size(); ++at) {
    if (std::ranges::binary_search(part.keys, all.records[at].key)) part.records.push_back(at);
  }
  return part;
}

void PrintExplanation(Session& session, const std::string& name, bool withValues) {
  const Explanation all = kestrelbay::ExplainInstalledApps();
  const ExplainedPart part = PartOf(all, name);
  if (part.keys.empty()) {
    throw Failure("no key that the inventory looks at is named \"" + name +
                  "\", nor has that name in it; see all of them with: kestrelbay explain");
  }
  if (session.json) {
    auto json = ToJson(part);
    AddVolume(json);
    session.out.WriteJsonLine(json);
  } else if (name.empty() && !withValues) {
    PrintOverview(session.out, all);
  } else {
    PrintPart(session.out, part);
  }
}

}  // namespace

void AddExplain(CLI::App& app, Command& chosen) {
  CLI::App* command =
      app.add_subcommand("explain", "Tell why applications are listed, and why others are not");
  auto name = std::make_shared<std::string>();
  command->add_option("NAME", *name, "Only what concerns this name, whatever its case and blanks")
      ->check(
          [](const std::string& text) { return WithoutCaseAndBlanks(text).empty() ? "NAME is blank" : ""; });
  auto values = std::make_shared<bool>(false);
  command->add_flag("--values", *values, "Of every key, all that was read; --json and NAME have that anyway");
  command->footer(
      "Tells of every key that the inventory looks at, in its order: what was read, and whether it is "
      "listed,\n"
      "merged with another of its name, left out and by which rule, or could not be read. With NAME, which\n"
      "may be the name of an application or of its key, and with --values every value is shown, and where "
      "each\n"
      "field of what is listed came from. A key counts once for each view through which it is looked at.");
  command->callback(
      [=, &chosen] { chosen = [=](Session& session) { PrintExplanation(session, *name, *values); }; });
}

}  // namespace cli

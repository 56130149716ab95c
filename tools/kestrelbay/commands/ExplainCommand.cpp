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

/**
 * Whether a scan root that cannot be opened may hide the wanted key. A missing root hides none, except
 * InstallerProducts: without it the list is empty.
 */
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
  // The loop above has added the keys in ascending order.
  for (std::size_t at = 0; at < all.records.size(); ++at) {
    if (std::ranges::binary_search(part.keys, all.records[at].key)) part.records.push_back(at);
  }
  return part;
}

void PrintExplanation(Session& session, const std::string& name, bool withValues) {
  const Explanation all = kestrelbay::ExplainInstalledApps();
  const ExplainedPart part = PartOf(all, name);
  if (part.keys.empty()) {
    throw Failure("no key that the inventory reads has the name \"" + name +
                  "\" or a value with that name; see all keys with: kestrelbay explain");
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
      app.add_subcommand("explain", "Say why applications are listed, and why others are not");
  auto name = std::make_shared<std::string>();
  command->add_option("NAME", *name, "Only the keys with this name; case and blanks are ignored")
      ->check(
          [](const std::string& text) { return WithoutCaseAndBlanks(text).empty() ? "NAME is blank" : ""; });
  auto values = std::make_shared<bool>(false);
  command->add_flag("--values", *values, "Print all values of every key, as --json and NAME do");
  command->footer(
      "Prints every key that the inventory reads, in its order: what was read, and whether the key is "
      "listed,\n"
      "merged with another key of its name, left out (and by which rule), or could not be read. NAME is the\n"
      "name of an application or of its key. With NAME or --values each value is shown, and the source of\n"
      "each field of the list. A key counts once for each view through which it is read.");
  command->callback(
      [=, &chosen] { chosen = [=](Session& session) { PrintExplanation(session, *name, *values); }; });
}

}  // namespace cli

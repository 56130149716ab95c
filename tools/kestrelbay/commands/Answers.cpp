#include "commands/Answers.h"

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "capture/FixedNames.h"
#include "capture/Text.h"
#include "console/SaveFile.h"
#include "explain/ExplainJson.h"
#include "views/Inventory.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

Json ListAll() {
  const Inventory inventory(false);
  Json list = Json::array();
  for (const InstalledAppEntry& app : inventory.Apps()) list.push_back(ToJson(app));
  return list;
}

Json ExplainAll() {
  const kestrelbay::Explanation all = kestrelbay::ExplainInstalledApps();
  ExplainedPart part{all, {}, {}, {}};
  part.keys.resize(all.keys.size());
  part.records.resize(all.records.size());
  std::iota(part.keys.begin(), part.keys.end(), std::size_t{0});
  std::iota(part.records.begin(), part.records.end(), std::size_t{0});
  return ToJson(part);
}

/** Whether the member of an explanation has words of this program, which are the same on every machine. */
bool HasFixedWords(std::string_view member) {
  constexpr std::string_view kMembers[] = {"root",  "role",  "fate",         "rule",
                                           "found", "field", "disagreement", "filled"};
  return std::ranges::find(kMembers, member) != std::end(kMembers);
}

/** Whether the member has the name of a value by which the library finds it. */
bool IsFixedName(std::string_view member, const Json& text) {
  return (member == "name" || member == "value") && text.is_string() &&
         capture::IsFixedValueName(capture::ToWide(text.get<std::string>()));
}

/** Visits each text of the machine, always in the same order. Says whether it is the path of a key. */
template <typename Node, typename Visit>
void ForEachText(Node& node, Visit visit, std::string_view member = {}) {
  if (HasFixedWords(member) || IsFixedName(member, node)) return;
  const bool isKey = member == "registryKey";
  if (node.is_string()) return visit(node, isKey || member == "path");
  if (!node.is_structured()) return;
  // Elements of a list, and the text of the field registryKey, belong to the member above them.
  const bool isPart = node.is_array() || isKey;
  for (auto& [name, child] : node.items()) ForEachText(child, visit, isPart ? member : name);
}

}  // namespace

Answers::Answers() : list_(ListAll()), explanation_(ExplainAll()) {}

void Answers::AddTo(capture::CapturedMachine& machine) const {
  const auto add = [&](const Json& text, bool isPath) {
    machine.answers.push_back({capture::ToWide(text.get<std::string>()), isPath});
  };
  ForEachText(list_, add);
  ForEachText(explanation_, add);
}

void Answers::TakeFrom(const capture::CapturedMachine& machine) {
  auto next = machine.answers.begin();
  const auto take = [&](Json& text, bool) { text = capture::ToUtf8((next++)->text); };
  ForEachText(list_, take);
  ForEachText(explanation_, take);
}

void Answers::Write(const std::string& directory) const {
  namespace fs = std::filesystem;
  const std::string folder = directory + "/answers";
  fs::create_directories(fs::path(std::u8string(folder.begin(), folder.end())));
  const auto save = [&](const char* name, const Json& json) {
    SaveFile(folder + "/" + name, json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  };
  save("list.json", list_);
  save("explain.json", explanation_);
}

}  // namespace cli

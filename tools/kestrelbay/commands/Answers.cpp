#include "commands/Answers.h"

#include <filesystem>
#include <numeric>

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

/** Visits each text, always in the same order. A text of the member "path" is the path of a key. */
template <typename Node, typename Visit>
void ForEachText(Node& node, Visit visit, bool isPath = false) {
  if (node.is_string()) return visit(node, isPath);
  if (!node.is_structured()) return;
  for (auto& [name, child] : node.items()) ForEachText(child, visit, node.is_object() && name == "path");
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

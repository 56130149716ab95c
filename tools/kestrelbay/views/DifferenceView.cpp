#include "views/DifferenceView.h"

#include <algorithm>

#include "views/Inventory.h"
#include "views/Table.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

std::string ChangeName(AppChange change) {
  if (change == AppChange::Changed) return "changed";
  return change == AppChange::Gone ? "gone" : "appeared";
}

Json ToJson(const AppRecord& app) {
  Json json;
  for (const ListedText& field : kListedTexts) json[field.name] = app.*field.text;
  json["architecture"] = app.architecture;
  return json;
}

Json ToJson(const FieldValue& value) {
  return std::visit([](const auto& known) { return Json(known); }, value);
}

Json FieldsOf(const AppDifference& app) {
  Json fields = Json::object();
  for (const FieldDifference& field : app.fields)
    fields[field.name] = {{"before", ToJson(field.before)}, {"after", ToJson(field.after)}};
  return fields;
}

std::string Shown(const FieldValue& value) {
  if (const auto* const architecture = std::get_if<std::int32_t>(&value))
    return ArchitectureName(*architecture);
  const auto& text = std::get<std::string>(value);
  const bool isPicture = text.starts_with(kPictureStart);
  return isPicture ? "PNG of " + std::to_string(text.size()) + " characters" : text;
}

void AddRows(Table& table, const AppDifference& app) {
  const std::string& version = app.app->displayVersion;
  const std::string architecture = ArchitectureName(app.app->architecture);
  std::vector<FieldDifference> fields = app.fields;
  if (app.change == AppChange::Gone) fields = {{"displayVersion", version, ""}};
  if (app.change == AppChange::Appeared) fields = {{"displayVersion", "", version}};
  for (const FieldDifference& field : fields) {
    table.AddRow({ChangeName(app.change), app.app->displayName, architecture, std::string(field.name),
                  Shown(field.before), Shown(field.after)});
  }
}

}  // namespace

nlohmann::ordered_json DifferenceJson(const ListDifference& difference) {
  Json json = {{"appeared", Json::array()}, {"gone", Json::array()}, {"changed", Json::array()}};
  for (const AppDifference& app : difference.apps) {
    Json entry = ToJson(*app.app);
    if (app.change == AppChange::Changed) entry = {{"application", entry}, {"fields", FieldsOf(app)}};
    json[ChangeName(app.change)].push_back(std::move(entry));
  }
  json["same"] = difference.same;
  return json;
}

void PrintDifferenceTable(Output& out, const ListDifference& difference) {
  Table table({{"What", false},
               {"Name", true},
               {"Arch", false},
               {"Field", false},
               {"Before", true},
               {"After", true}});
  for (const AppDifference& app : difference.apps) AddRows(table, app);
  if (!difference.apps.empty()) {
    table.Print(out, StyleOfOutput());
    out.Write("\n");
  }
  const auto count = [&](AppChange change) {
    return std::to_string(std::ranges::count(difference.apps, change, &AppDifference::change)) + ' ' +
           ChangeName(change);
  };
  out.Write(count(AppChange::Appeared) + ", " + count(AppChange::Gone) + ", " + count(AppChange::Changed) +
            ", " + std::to_string(difference.same) + " the same.\n");
}

}  // namespace cli

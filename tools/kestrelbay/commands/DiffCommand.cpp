#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Command.h"
#include "console/Failure.h"
#include "console/SaveFile.h"
#include "console/System.h"
#include "views/Inventory.h"
#include "views/ListDifference.h"
#include "views/Messages.h"
#include "views/SavedList.h"
#include "views/Table.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

struct DiffOptions {
  std::string before;
  std::string after;
  bool setsStatus = false;
};

std::vector<AppRecord> ListMachine(const std::string& directory) {
  OpenMachineToRead(directory, [](const std::string& line, bool isDamage) {
    isDamage ? ReportDamage(line) : ReportWarning(line);
  });
  const Inventory inventory(false);
  std::vector<AppRecord> apps;
  for (const InstalledAppEntry& app : inventory.Apps()) {
    apps.push_back({app.displayName, app.installLocation, app.displayVersion, app.displayIcon, app.iconText,
                    app.installDate, app.lastWriteTime, app.architecture});
  }
  return apps;
}

std::vector<AppRecord> ReadSide(const std::string& path) {
  return IsDirectory(path) ? ListMachine(path) : ParseSavedList(path, ReadWholeFile(path));
}

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

Json ToJson(const ListDifference& difference) {
  Json json = {{"appeared", Json::array()}, {"gone", Json::array()}, {"changed", Json::array()}};
  for (const AppDifference& app : difference.apps) {
    Json entry = ToJson(*app.app);
    if (app.change == AppChange::Changed) entry = {{"application", entry}, {"fields", FieldsOf(app)}};
    json[ChangeName(app.change)].push_back(std::move(entry));
  }
  json["same"] = difference.same;
  return json;
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

void PrintTable(Output& out, const ListDifference& difference) {
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

void PrintDifference(Session& session, const DiffOptions& options) {
  if (session.namesMachine) {
    throw Failure("diff takes its machines as BEFORE and AFTER; omit --machine", kWrongUsage);
  }
  const std::vector<AppRecord> before = ReadSide(options.before);
  const std::vector<AppRecord> after = ReadSide(options.after);
  // Icons of a machine are not drawn, because that takes long.
  const bool includeIcons = !IsDirectory(options.before) && !IsDirectory(options.after);
  const ListDifference difference = CompareLists(before, after, includeIcons);
  if (session.json) {
    session.out.WriteJsonLine(ToJson(difference));
  } else {
    PrintTable(session.out, difference);
  }
  if (options.setsStatus && !difference.apps.empty()) session.status = kFailed;
}

}  // namespace

void AddDiff(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("diff", "Compare two machines or saved lists");
  auto options = std::make_shared<DiffOptions>();
  const std::string what = "A machine directory, an offline Windows volume, or a file saved with list --json";
  command->add_option("BEFORE", options->before, what)->required();
  command->add_option("AFTER", options->after, what)->required();
  command->add_flag("--exit-code", options->setsStatus,
                    "Exit with 0 if they are the same, 1 if they differ, 2 on trouble, as diff(1) does");
  command->footer(
      "Applications are paired by their exact name. If several have one name, the pairs are made in this\n"
      "order: equal in all fields; same architecture and location; same architecture and version; same\n"
      "architecture; same location; the rest, in list order. Icon texts are compared between two files "
      "only.\n"
      "Without --exit-code the exit status is 0 whether they differ or not, and 1 on trouble.\n"
      "On Windows both must be files.");
  command->callback([&chosen, options] {
    chosen = [options](Session& session) { PrintDifference(session, *options); };
    chosen.needsMachine = false;
    if (options->setsStatus) chosen.failed = kTrouble;
  });
}

}  // namespace cli

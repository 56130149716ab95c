#include <memory>

#include "commands/Command.h"
#include "console/Failure.h"
#include "console/SaveFile.h"
#include "console/System.h"
#include "views/DifferenceView.h"
#include "views/Inventory.h"
#include "views/ListDifference.h"
#include "views/Messages.h"
#include "views/SavedList.h"

namespace cli {
namespace {

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

void ShowDifference(Session& session, const DiffOptions& options) {
  if (session.namesMachine) {
    throw Failure("diff takes its machines as BEFORE and AFTER; omit --machine", kWrongUsage);
  }
  const std::vector<AppRecord> before = ReadSide(options.before);
  const std::vector<AppRecord> after = ReadSide(options.after);
  // Icons of a machine are not drawn, because that takes long.
  const bool includeIcons = !IsDirectory(options.before) && !IsDirectory(options.after);
  const ListDifference difference = CompareLists(before, after, includeIcons);
  if (session.json) {
    session.out.WriteJsonLine(DifferenceJson(difference));
  } else {
    PrintDifferenceTable(session.out, difference);
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
    chosen = [options](Session& session) { ShowDifference(session, *options); };
    chosen.needsMachine = false;
    if (options->setsStatus) chosen.failed = kTrouble;
  });
}

}  // namespace cli

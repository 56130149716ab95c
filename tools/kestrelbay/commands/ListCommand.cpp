#include <memory>
#include <nlohmann/json.hpp>
#include <span>

#include "commands/Command.h"
#include "views/Inventory.h"
#include "views/Table.h"

namespace cli {
namespace {

/** Writes each object on its own line, and a long list in pieces. */
void PrintJson(Output& out, std::span<const InstalledAppEntry> apps) {
  std::string_view before = "[\n  ";
  for (const InstalledAppEntry& app : apps) {
    out.Write(before);
    out.WriteJson(ToJson(app));
    before = ",\n  ";
  }
  out.Write(apps.empty() ? "[]\n" : "\n]\n");
}

std::string IconSummary(std::string_view iconText) {
  return iconText.starts_with(kPictureStart) ? "PNG" : std::string(iconText);
}

Table MakeTable(std::span<const InstalledAppEntry> apps, bool withIcons) {
  std::vector<Column> columns{{"Name", true}, {"Version", true}, {"Arch", false}, {"Installed", true}};
  if (withIcons) columns.push_back({"Icon", true});
  columns.push_back({"Location", true});
  Table table(columns);
  for (const InstalledAppEntry& app : apps) {
    std::vector<std::string> cells{app.displayName, app.displayVersion, ArchitectureName(app.architecture),
                                   DateText(app.installDate)};
    if (withIcons) cells.push_back(IconSummary(app.iconText));
    cells.push_back(app.installLocation);
    table.AddRow(std::move(cells));
  }
  return table;
}

void PrintList(Session& session, bool includeIcons) {
  const Inventory inventory(includeIcons);
  if (session.json) return PrintJson(session.out, inventory.Apps());
  if (!inventory.Apps().empty()) {
    MakeTable(inventory.Apps(), includeIcons).Print(session.out, StyleOfOutput());
    session.out.Write("\n");
  }
  session.out.Write(CountText(inventory.Apps().size()) + ".\n");
}

}  // namespace

void AddList(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("list", "List the installed applications");
  auto icons = std::make_shared<bool>(false);
  command->add_flag("--icons", *icons, "Draw the icons of executables too, which takes longer");
  command->footer(
      "The table is as wide as COLUMNS says, or as the terminal; longer texts end in an ellipsis. In a file "
      "or\n"
      "a pipe nothing is cut off. Control characters are shown as pictures, invisible ones as U+FFFD. With\n"
      "--json each entry has the fields of the C record, in the same order.");
  command->callback([&chosen, icons] { chosen = [icons](Session& session) { PrintList(session, *icons); }; });
}

}  // namespace cli

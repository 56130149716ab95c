#include <array>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "capture/MachineCalls.h"
#include "capture/Text.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/SaveFile.h"
#include "icons/IconPicture.h"
#include "views/Inventory.h"
#include "views/ReportPage.h"

namespace cli {
namespace {

/** Whether the file of the machine exists and begins as an .ico file does. */
bool IsIconFile(const std::u16string& path) {
  const auto file = capture::FindMachineFile(path);
  if (!file) return false;
  std::array<char, 4> head{};
  std::ifstream stream(*file, std::ios::binary);
  stream.read(head.data(), head.size());
  return stream && head == std::array<char, 4>{0, 0, 1, 0};
}

/**
 * Returns a data URL; empty if there is no picture. Only pictures that were drawn here get into the page: a
 * browser decodes them, and a file or text of the machine may have any bytes.
 */
std::string PictureOf(const std::string& icon) {
  if (icon.starts_with(kPictureStart)) return icon;
  const std::u16string path = capture::ToWide(icon);
  std::string base64;
  if (!IsIconFile(path) || !kestrelbay::IconToPngBase64(path, base64)) return {};
  return std::string(kPictureStart) + base64.c_str();
}

ReportRow RowOf(const InstalledAppEntry& app) {
  const std::string_view icon = app.iconText;
  ReportRow row{app.displayName,
                app.displayVersion,
                ArchitectureName(app.architecture),
                DateText(app.installDate),
                app.installLocation,
                "",
                std::string(icon.starts_with(kPictureStart) ? "" : icon)};
  if (!icon.empty()) row.picture = PictureOf(app.iconText);
  return row;
}

void PrintReport(Session& session, const std::string& file) {
  if (session.json && file.empty()) {
    throw Failure("a report is a page for a person; name a file with -o, or use: kestrelbay list --json",
                  kWrongUsage);
  }
  const Inventory inventory(true);
  std::vector<ReportRow> rows;
  for (const InstalledAppEntry& app : inventory.Apps()) rows.push_back(RowOf(app));
  const std::string page = MakeReportPage(rows);
  if (file.empty()) return session.out.Write(page);
  SaveFile(file, page);
  if (session.json) {
    return session.out.WriteJsonLine({{"file", file}, {"applications", rows.size()}});
  }
  session.out.Write(Printable(file) + ": " + CountText(rows.size()) + ", " + std::to_string(page.size()) +
                    " bytes\n");
}

}  // namespace

void AddReport(CLI::App& app, Command& chosen) {
  CLI::App* command =
      app.add_subcommand("report", "Write a page that shows the installed applications with their icons");
  auto file = std::make_shared<std::string>();
  command->add_option("-o,--output", *file, "Write the page to this file")
      ->type_name("FILE.html")
      ->check(RefuseEmpty);
  command->footer(
      "The page is one HTML file that needs no network and no other file. Without -o it goes to standard\n"
      "output. The page also shows the machine's .ico files that can be read; it contains them as PNG.");
  command->callback([&chosen, file] { chosen = [file](Session& session) { PrintReport(session, *file); }; });
}

}  // namespace cli

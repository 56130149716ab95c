#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "capture/Surroundings.h"
#include "capture/Text.h"
#include "commands/Command.h"
#include "console/Base64.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/SaveFile.h"
#include "views/Inventory.h"
#include "views/ReportPage.h"

namespace cli {
namespace {

constexpr std::size_t kMostIconBytes = 1 << 20;

/** The type of a picture that browsers show; empty for any other file. */
std::string PictureType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("\0\0\1\0", 4))) return "image/x-icon";
  return bytes.starts_with("\x89PNG\r\n\x1a\n") ? "image/png" : "";
}

/** A file of the machine; nothing for what is not there, too large, or cannot be read. */
std::optional<std::string> ReadMachineFile(const std::string& path) {
  const auto file = capture::FindMachineFile(capture::ToWide(path));
  std::error_code error;
  if (!file || std::filesystem::file_size(*file, error) > kMostIconBytes) return std::nullopt;
  std::ifstream stream(*file, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return stream ? std::optional(std::move(bytes)) : std::nullopt;
}

/** A file's picture as a data URL; the path itself where there is none. */
std::string ShowIconFile(const std::string& path) {
  const std::optional<std::string> bytes = ReadMachineFile(path);
  const std::string type = bytes ? PictureType(*bytes) : "";
  return type.empty() ? path : "data:" + type + ";base64," + ToBase64(*bytes);
}

ReportRow RowOf(const InstalledAppEntry& app) {
  const std::string icon = app.iconText;
  const bool isFile = !icon.empty() && !icon.starts_with(kPictureStart);
  return {app.displayName,           app.displayVersion,  ArchitectureName(app.architecture),
          DateText(app.installDate), app.installLocation, isFile ? ShowIconFile(icon) : icon};
}

void PrintReport(Session& session, const std::string& file) {
  if (session.json && file.empty()) {
    throw Failure("a report is a page for a person; name a file with -o, or see kestrelbay list --json",
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
      app.add_subcommand("report", "Make a page that shows what is installed, with its icons");
  auto file = std::make_shared<std::string>();
  command->add_option("-o,--output", *file, "Write the page to this file")->type_name("FILE.html");
  command->footer(
      "The page is one HTML file that needs no network and nothing beside it. Without -o it goes to\n"
      "standard output. Icon files of the machine are put into the page where they are there to be read.");
  command->callback([&chosen, file] { chosen = [file](Session& session) { PrintReport(session, *file); }; });
}

}  // namespace cli

#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "capture/MachineCalls.h"
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

/** Returns the type of a picture that browsers show; empty for any other file. */
std::string PictureType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("\0\0\1\0", 4))) return "image/x-icon";
  return bytes.starts_with("\x89PNG\r\n\x1a\n") ? "image/png" : "";
}

/** Reads a file of the machine; nullopt if it does not exist, is too large, or cannot be read. */
std::optional<std::string> ReadMachineFile(const std::string& path) {
  const auto file = capture::FindMachineFile(capture::ToWide(path));
  std::error_code error;
  if (!file || std::filesystem::file_size(*file, error) > kMostIconBytes) return std::nullopt;
  std::ifstream stream(*file, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return stream ? std::optional(std::move(bytes)) : std::nullopt;
}

/** A picture as a data URL; empty for bytes that are not a picture. */
std::string DataUrl(const std::optional<std::string>& bytes) {
  const std::string type = bytes ? PictureType(*bytes) : "";
  return type.empty() ? "" : "data:" + type + ";base64," + ToBase64(*bytes);
}

/**
 * Only data URLs that this program makes get into the page: a text of the registry may be a data URL too, and
 * then of any type.
 */
std::string PictureOf(std::string_view icon) {
  if (!icon.starts_with(kPictureStart)) return DataUrl(ReadMachineFile(std::string(icon)));
  return DataUrl(FromBase64(icon.substr(kPictureStart.size())));
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
  if (!icon.empty()) row.picture = PictureOf(icon);
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
      "output. The page contains the icon files of the machine that can be read.");
  command->callback([&chosen, file] { chosen = [file](Session& session) { PrintReport(session, *file); }; });
}

}  // namespace cli

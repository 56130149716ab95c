/** The page that shows the installed applications. */
#pragma once

#include <string>
#include <vector>

namespace cli {

/** One application. UTF-8; unknown fields are empty. */
struct ReportRow {
  std::string name;
  std::string version;
  std::string architecture;
  std::string installed;
  std::string location;
  /** A data URL of a PNG that the library drew; empty if there is no picture. */
  std::string picture;
  /** The path of the icon, which is shown if there is no picture. */
  std::string iconPath;
};

/**
 * Returns one HTML file that needs no network and no other file. It can be searched and sorted, by keyboard
 * too, and is light or dark as its reader prefers. Without scripts it is a plain table. Its
 * Content-Security-Policy allows the page's own script and style, by their hashes, and no other.
 * It cannot tell data URLs apart, so a picture must have been drawn here, and not copied from the machine.
 */
std::string MakeReportPage(const std::vector<ReportRow>& rows);

}  // namespace cli

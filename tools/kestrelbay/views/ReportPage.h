/** The page that shows what is installed. */
#pragma once

#include <string>
#include <vector>

namespace cli {

/** One application as the page tells of it; UTF-8, empty where something is not known. */
struct ReportRow {
  std::string name;
  std::string version;
  std::string architecture;
  std::string installed;
  std::string location;
  /** A data URL, or the path of an icon that could not be shown. */
  std::string icon;
};

/**
 * One HTML file that needs nothing else: no network, no other file. It can be searched and sorted, by
 * keyboard as well, and is light or dark as its reader has it; without scripts it is a plain table.
 */
std::string MakeReportPage(const std::vector<ReportRow>& rows);

}  // namespace cli

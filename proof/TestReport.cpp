#include "TestReport.h"

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace proof {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kReasonStart = "not on this machine: ";

std::string Attribute(std::string_view element, std::string_view name) {
  const auto start = element.find(std::string(" ") + std::string(name) + "=\"");
  if (start == element.npos) return {};
  const auto begin = element.find('"', start) + 1;
  return std::string(element.substr(begin, element.find('"', begin) - begin));
}

/** The reason of a test that cannot run here; empty if it failed or passed. */
std::string ReasonOf(std::string_view test) {
  const auto failure = test.find("<failure ");
  if (failure == test.npos) return {};
  // If there is a second failure, the test itself has failed.
  if (test.find("<failure ", failure + 1) != test.npos) return {};
  const std::string message = Attribute(test.substr(failure), "message");
  const auto start = message.find(kReasonStart);
  if (start == message.npos) return {};
  const auto begin = start + kReasonStart.size();
  return message.substr(begin, message.find("&quot;", begin) - begin);
}

std::string Skipped(std::string_view test, const std::string& reason) {
  const auto begin = test.find("<failure ");
  constexpr std::string_view kEnd = "</failure>";
  const auto end = test.find(kEnd, begin) + kEnd.size();
  return std::string(test.substr(0, begin)) + "<skipped message=\"" + reason + "\" />" +
         std::string(test.substr(end));
}

}  // namespace

Json ReadReport(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string report{std::istreambuf_iterator<char>(file), {}};
  file.close();
  Json summary = {{"tests", 0}, {"failed", Json::array()}, {"notRun", Json::array()}};
  int tests = 0;
  std::string written;
  std::size_t at = 0;
  for (std::size_t begin; (begin = report.find("<testcase ", at)) != report.npos;) {
    const auto headEnd = report.find('>', begin);
    const bool isEmpty = report[headEnd - 1] == '/';
    constexpr std::string_view kEnd = "</testcase>";
    const auto end = isEmpty ? headEnd + 1 : report.find(kEnd, begin) + kEnd.size();
    const std::string_view test = std::string_view(report).substr(begin, end - begin);
    const std::string name = Attribute(test, "classname") + "." + Attribute(test, "name");
    const std::string reason = ReasonOf(test);
    ++tests;
    written += report.substr(at, begin - at);
    if (!reason.empty()) {
      summary["notRun"].push_back({{"test", name}, {"reason", reason}});
      written += Skipped(test, reason);
    } else {
      if (test.find("<failure ") != test.npos) summary["failed"].push_back(name);
      written += test;
    }
    at = end;
  }
  written += report.substr(std::min(at, report.size()));
  std::ofstream(path, std::ios::binary) << written;
  summary["tests"] = tests;
  return summary;
}

}  // namespace proof

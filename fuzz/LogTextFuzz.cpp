/**
 * The text of a log record: for any arguments, each is in its place, and the record contains nothing else.
 *
 * The input has up to three lines: plain text of the format, a narrow argument and a wide one.
 */
#include <algorithm>
#include <array>
#include <sstream>
#include <string>

#include "Expect.h"
#include "base/CommonFunc.h"
#include "base/SDKLog.h"
#include "simulated/base/WideText.h"

namespace {

using kestrelbay::SDKLog;

std::string& Received() {
  static std::string text;
  return text;
}

/** The bytes of the "C" locale; empty if one character has none. */
std::string Narrow(const std::u16string& wide) {
  const bool isNarrow = std::ranges::all_of(wide, [](char16_t unit) { return unit <= 0xFF; });
  std::string text;
  if (isNarrow)
    std::ranges::transform(wide, std::back_inserter(text),
                           [](char16_t unit) { return static_cast<char>(unit); });
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(data, data + size);
  std::erase(text, '\0');
  std::istringstream lines(text);
  std::array<std::string, 3> line;
  for (std::string& each : line) std::getline(lines, each);
  const auto& [plain, narrow, third] = line;
  const std::u16string wide = simulated::FromUtf8(third);
  const std::string format = kestrelbay::ReplaceAll<char>(plain, "%", "%%") + "<%s|%ws|%d|%%>";

  SDKLog& log = SDKLog::GetInstance();
  log.logCallback = [](const char*, std::int32_t, const char* record) { Received() = record; };
  const int number = static_cast<int>(size) - 100;
  log.Log(kestrelbay::kLogInfo, "file", "function", 12, format.c_str(), narrow.c_str(), wide.c_str(), number);
  fuzz::Outcome() = Received();

  const bool hasBytes = Narrow(wide).size() == wide.size();
  const std::string message =
      hasBytes ? plain + "<" + narrow + "|" + Narrow(wide) + "|" + std::to_string(number) + "|%>" : "";
  fuzz::Expect(Received() == "function:12 " + message, "the record has each argument in its place");
  return 0;
}

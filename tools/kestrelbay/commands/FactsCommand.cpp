#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/System.h"
#include "views/Messages.h"
#include "views/VolumeJson.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;
using TextFact = bool (*)(char*, std::int32_t*);

/** The library throws if it cannot parse a number. That must not hide the other facts. */
template <class Result, class Ask>
std::optional<Result> AskSafely(const char* label, Ask ask) {
  try {
    return ask();
  } catch (const std::logic_error& error) {
    ReportWarning(std::string(label) + ": the machine's value in the registry is not a number; correct it (" +
                  error.what() + ")");
    return std::nullopt;
  }
}

Json AskText(const char* label, TextFact fact) {
  std::vector<char> buffer(64 * 1024);
  auto size = static_cast<std::int32_t>(buffer.size());
  const auto known = AskSafely<bool>(label, [&] { return fact(buffer.data(), &size); });
  return known.value_or(false) ? Json(buffer.data()) : Json();
}

Json AskTablet() {
  const auto isTablet = AskSafely<bool>("Tablet", [] { return IsTabletPC(); });
  return isTablet ? Json(*isTablet) : Json();
}

/** The drives whose space is known. A and B are floppy disks. */
Json AskDiskSpace() {
  Json space = Json::object();
  for (char letter = 'C'; letter <= 'Z'; ++letter) {
    const std::string drive(1, letter);
    const std::int64_t mebibytes = GetDiskAvailableSpace(drive.c_str());
    if (mebibytes >= 0) space[drive] = mebibytes;
  }
  return space;
}

std::string ShownText(const Json& value) {
  if (value.is_null()) return "(not known)";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  return Printable(value.get<std::string>());
}

void PrintLine(Session& session, const std::string& label, const std::string& value) {
  constexpr std::size_t kLabelCells = 14;
  std::string line = label;
  line.resize(kLabelCells, ' ');
  session.out.Write(line + value + "\n");
}

void PrintFacts(Session& session) {
  Json facts = {{"manufacturer", AskText("Manufacturer", &GetManufacturer)},
                {"productName", AskText("Product", &GetProductName)},
                {"deviceId", AskText("Device id", &GetDeviceId)},
                {"proxyServer", AskText("Proxy", &GetProxyServer)},
                {"graphics", AskText("Graphics", &GetGraphics)},
                {"isTablet", AskTablet()},
                {"freeMebibytes", AskDiskSpace()}};
  AddVolume(facts);
  if (session.json) {
    return session.out.WriteJsonLine(facts);
  }
  if (const auto volume = DescribeVolume()) {
    const std::string windows = volume->windows.empty() ? "(not known)" : Printable(volume->windows);
    PrintLine(session, "Volume of", windows + (volume->is32Bit ? ", 32-bit" : ", 64-bit"));
  }
  PrintLine(session, "Manufacturer", ShownText(facts["manufacturer"]));
  PrintLine(session, "Product", ShownText(facts["productName"]));
  PrintLine(session, "Device id", ShownText(facts["deviceId"]));
  PrintLine(session, "Proxy", ShownText(facts["proxyServer"]));
  PrintLine(session, "Graphics", ShownText(facts["graphics"]));
  PrintLine(session, "Tablet", ShownText(facts["isTablet"]));
  for (const auto& [drive, mebibytes] : facts["freeMebibytes"].items()) {
    PrintLine(session, "Free on " + drive + ":", std::to_string(mebibytes.get<std::int64_t>()) + " MiB");
  }
}

}  // namespace

void AddFacts(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("facts", "Print facts about the machine");
  command->footer("Unknown facts are printed as \"(not known)\", and as null with --json.");
  command->callback([&chosen] { chosen = PrintFacts; });
}

}  // namespace cli

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Setting.h"
#include "views/Messages.h"
#include "views/VolumeJson.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;
using TextFact = bool (*)(char*, std::int32_t*);

/** A fact, or why the library cannot tell it. */
struct Answer {
  /** Null if the fact is not known. */
  Json fact;
  /** "missing" or "invalid", about the setting that decides; null if the library found no fault. */
  const char* problem = nullptr;
};

/** The library throws if the setting is missing or invalid. That must not hide the other facts. */
template <class Ask>
Answer AskSafely(const char* label, const Setting& setting, Ask ask) {
  try {
    return {ask()};
  } catch (const std::logic_error&) {
    const bool isMissing = !Exists(setting);
    ReportWarning(
        std::string(label) + ": " + NameOf(setting) +
        (isMissing ? " is missing; set it to 0 or 1" : " is not a 32-bit number; set it to 0 or 1"));
    return {Json(), isMissing ? "missing" : "invalid"};
  }
}

Json AskText(TextFact fact) {
  std::vector<char> buffer(std::size_t{64} * 1024);
  auto size = static_cast<std::int32_t>(buffer.size());
  return fact(buffer.data(), &size) ? Json(buffer.data()) : Json();
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

std::string ShownText(const Json& value, const char* problem = nullptr) {
  if (problem) return "(not known: setting " + std::string(problem) + ")";
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
  const Answer proxy = AskSafely("Proxy", kProxySetting, [] { return AskText(&GetProxyServer); });
  const Answer tablet = AskSafely("Tablet", kTabletSetting, [] { return Json(IsTabletPC()); });
  Json facts = {{"manufacturer", AskText(&GetManufacturer)},
                {"productName", AskText(&GetProductName)},
                {"deviceId", AskText(&GetDeviceId)},
                {"proxyServer", proxy.fact},
                {"graphics", AskText(&GetGraphics)},
                {"isTablet", tablet.fact},
                {"freeMebibytes", AskDiskSpace()}};
  if (proxy.problem) facts["settings"]["proxyServer"] = proxy.problem;
  if (tablet.problem) facts["settings"]["isTablet"] = tablet.problem;
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
  PrintLine(session, "Proxy", ShownText(proxy.fact, proxy.problem));
  PrintLine(session, "Graphics", ShownText(facts["graphics"]));
  PrintLine(session, "Tablet", ShownText(tablet.fact, tablet.problem));
  for (const auto& [drive, mebibytes] : facts["freeMebibytes"].items()) {
    PrintLine(session, "Free on " + drive + ":", std::to_string(mebibytes.get<std::int64_t>()) + " MiB");
  }
}

}  // namespace

void AddFacts(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("facts", "Print facts about the machine");
  command->footer(
      "Unknown facts are printed as \"(not known)\", and as null with --json. If the setting that decides a "
      "fact\n"
      "is missing or invalid, a message names it, and --json has \"missing\" or \"invalid\" in "
      "\"settings\".");
  command->callback([&chosen] { chosen = PrintFacts; });
}

}  // namespace cli

#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"

namespace cli {
namespace {

void PrintVersion(Session& session, const std::string& name) {
  std::vector<char> buffer(std::size_t{4} * 1024);
  auto size = static_cast<std::int32_t>(buffer.size());
  if (!GetAppVersion(name.c_str(), nullptr, buffer.data(), &size)) {
    throw Failure("no version: nothing named \"" + name +
                  "\" is installed, or it has no version; see the names with: kestrelbay list");
  }
  if (session.json) {
    session.out.WriteJsonLine({{"displayName", name}, {"displayVersion", buffer.data()}});
  } else {
    session.out.Write(Printable(buffer.data()) + "\n");
  }
}

}  // namespace

void AddVersion(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("version", "Print the version of one application");
  auto name = std::make_shared<std::string>();
  command->add_option("NAME", *name, "The name exactly as listed, including case")->required();
  command->callback([&chosen, name] { chosen = [name](Session& session) { PrintVersion(session, *name); }; });
}

}  // namespace cli

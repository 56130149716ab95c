#include <memory>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"

namespace cli {
namespace {

struct StartOptions {
  std::string name;
  std::string alias;
};

void Start(Session& session, const StartOptions& options) {
  if (StartApp(options.name.c_str(), options.alias.c_str()) == 0) {
    throw Failure("not started: \"" + options.name +
                  "\" is not installed, has no program that its icon points to, or was refused; see why with "
                  "--log");
  }
  if (session.json) {
    session.out.Write("{\"started\":true}\n");
  } else {
    session.out.Write("Started " + Printable(options.name) + ".\n");
  }
}

}  // namespace

void AddStart(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("start", "Start an installed application");
  auto options = std::make_shared<StartOptions>();
  command->add_option("NAME", options->name, "Name exactly as listed, case included")->required();
  command->add_option("--alias", options->alias, "A further text that may hold an apps folder item's name")
      ->type_name("TEXT");
  command->footer(
      "The shell's apps folder goes first: an item whose name is part of NAME or of the alias is started by\n"
      "the shell. Otherwise the program that the icon of the listed application points to runs elevated.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { Start(session, *options); }; });
}

}  // namespace cli

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
    throw Failure(
        "not started: \"" + options.name +
        "\" is not installed, its icon does not point to a program, or elevation was refused; see the reason "
        "with --log");
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
  command->add_option("NAME", options->name, "The name exactly as listed, including case")->required();
  command
      ->add_option("--alias", options->alias,
                   "Another text that may contain the name of an item of the apps folder")
      ->type_name("TEXT");
  command->footer(
      "The shell's apps folder comes first: an item whose name is part of NAME or of the alias is started "
      "by\n"
      "the shell. Otherwise the program that the icon of the application points to is started, elevated.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { Start(session, *options); }; });
}

}  // namespace cli

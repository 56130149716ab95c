#include <algorithm>
#include <memory>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"
#include "views/Inventory.h"

namespace cli {
namespace {

struct ForgetOptions {
  std::string name;
  bool isConfirmed = false;
};

std::size_t CountListed(const std::string& name) {
  const Inventory inventory(false);
  const auto isNamedSo = [&](const InstalledAppEntry& entry) { return entry.displayName == name; };
  return static_cast<std::size_t>(std::ranges::count_if(inventory.Apps(), isNamedSo));
}

void Confirm(const ForgetOptions& options) {
  if (options.isConfirmed) return;
  if (!IsInputTerminal()) {
    throw Failure("standard input is not a terminal, so nobody can be asked; remove the entry with --yes",
                  kWrongUsage);
  }
  const std::string question =
      "Remove the registry entry of \"" + Printable(options.name) + "\"? Its files stay. [y/N] ";
  const std::string answer = AskLine(question);
  if (answer != "y" && answer != "Y" && answer != "yes") throw Failure("nothing was removed");
}

void Forget(Session& session, const ForgetOptions& options) {
  const std::size_t before = CountListed(options.name);
  if (before == 0) {
    throw Failure("nothing named \"" + options.name + "\" is installed; see the names with: kestrelbay list");
  }
  Confirm(options);
  // The library deletes the keys below an entry one by one. A process that ends in between must not leave
  // half of it.
  bool isDeleted = false;
  GroupChanges([&] { isDeleted = DeleteAppRegistryInfo(options.name.c_str()); });
  if (const std::string problem = WriteProblem(); !problem.empty()) throw Failure("not removed: " + problem);
  if (!isDeleted) {
    throw Failure(
        "not removed: the entry cannot be deleted, and elevation was refused; run kestrelbay as an "
        "administrator");
  }
  // The library also reports success for an entry that it does not find. It searches HKEY_LOCAL_MACHINE in
  // the 64-bit view only.
  if (CountListed(options.name) >= before) {
    throw Failure(
        "\"" + options.name +
        "\" is still listed although the library reports success: an entry of a user or of the "
        "32-bit view is not removed, and an elevated command may still be removing it; see: kestrelbay list");
  }
  if (session.json) {
    session.out.Write("{\"removed\":true}\n");
  } else {
    session.out.Write("Removed the entry of " + Printable(options.name) + ".\n");
  }
}

}  // namespace

void AddForget(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("forget", "Remove the registry entry of an application");
  auto options = std::make_shared<ForgetOptions>();
  command->add_option("NAME", options->name, "The name exactly as listed, including case")->required();
  command->add_flag("-y,--yes", options->isConfirmed, "Do not ask");
  command->footer(
      "Nothing is uninstalled: the files stay. If several entries have this name, the first one is removed.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { Forget(session, *options); }; });
}

}  // namespace cli

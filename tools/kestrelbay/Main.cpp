#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/Failure.h"
#include "console/Progress.h"
#include "console/System.h"
#include "views/Messages.h"

namespace cli {
namespace {

struct Options {
  std::optional<std::string> machine;
  bool json = false;
  bool log = false;
  bool noRecovery = false;
  std::optional<std::string> user;
};

/** What is known of a command line once it is read. */
struct Request {
  Options options;
  Command command;
  /** Wanted instead of a command: the help or the version. */
  std::string text;
};

void Describe(CLI::App& app, Request& request) {
  app.add_option("--machine", request.options.machine,
                 "Act on the machine directory or volume there (not on Windows)")
      ->type_name("DIR");
  app.add_option("--user", request.options.user,
                 "Whose the volume is to be, if several people used it (not on Windows)")
      ->type_name("NAME|SID");
  app.add_flag("--no-recovery", request.options.noRecovery,
               "Read a volume's hives without what is only in their logs");
  app.add_flag("--json", request.options.json, "Print JSON, for a program to read");
  app.add_flag("--log", request.options.log, "Print the library's log on standard error");
  app.set_version_flag("--version", "kestrelbay " KESTRELBAY_VERSION, "Print the version and exit");
  app.footer(
      "Options may stand before or after the command. Without --machine the sample machine is used, and not\n"
      "changed; on Windows, this computer.\n"
      "Exit status: 0 done, 1 refused or failed, 2 wrong usage.");
  app.allow_windows_style_options(false);
  app.fallthrough();
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");
  for (AddCommand* add : kCommands) add(app, request.command);
}

/** The parser's own words, in one line; for a missing command they would not say which word is none. */
std::string WhatIsWrong(const CLI::App& app, const CLI::ParseError& error) {
  if (app.get_subcommands().empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    const std::vector<std::string> words = app.remaining();
    if (words.empty()) return "no command given";
    return (words.front().starts_with('-') ? "there is no option " : "there is no command ") + words.front();
  }
  std::string line = error.what();
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

Request Read(std::vector<std::string> arguments) {
  Request request;
  CLI::App app("What is installed on a machine, as an application store sees it.", "kestrelbay");
  Describe(app, request);
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::Success& wish) {
    std::ostringstream text;
    app.exit(wish, text, text);
    request.text = text.str();
  } catch (const CLI::ParseError& error) {
    throw Failure(WhatIsWrong(app, error) + "; see kestrelbay --help", kWrongUsage);
  }
  return request;
}

void Open(const Options& options) {
  // Shared, because a machine warns of damage for as long as it is used.
  const auto progress = std::make_shared<Progress>("Reading the machine");
  LoadObserver observer;
  observer.progress = [progress](std::uint64_t done, std::uint64_t all) { progress->Update(done, all); };
  observer.warning = [progress](const std::string& line) {
    progress->Erase();
    ReportWarning(line);
  };
  observer.damage = [progress](const std::string& line) {
    progress->Erase();
    ReportDamage(line);
  };
  OpenMachine(options.machine, observer);
  progress->Erase();
}

ExitStatus Run(std::vector<std::string> arguments) {
  const Request request = Read(std::move(arguments));
  Output out;
  Session session{request.options.json, out, request.options.log, request.options.machine.has_value()};
  if (request.text.empty()) {
    // The library has nowhere to log to until it is told, and that comes before any other call.
    InitDllLogger(request.options.log ? ReportLog : [](const char*, std::int32_t, const char*) {});
    SetVolumeOptions({!request.options.noRecovery, request.options.user});
    if (request.command.needsMachine) Open(request.options);
    request.command.run(session);
  } else {
    out.Write(request.text);
  }
  out.Flush();
  // What was printed may lack what cannot be read any more.
  return session.status == kDone && WasDamageReported() ? kFailed : session.status;
}

int RunToStatus(std::vector<std::string> arguments) {
  try {
    return Run(std::move(arguments));
  } catch (const Failure& failure) {
    ReportError(failure.what());
    return failure.status;
  } catch (const std::exception& error) {
    ReportError(std::string("stopped: ") + error.what());
    return kFailed;
  }
}

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  const int status = cli::RunToStatus(cli::Start(argc, argv));
  cli::LeaveMachine();
  // Nothing waits for the library's workers, so one may still be ending: it must find all objects alive.
  std::_Exit(status);
}

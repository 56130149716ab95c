#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/Failure.h"
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

/** A command line as it was parsed. */
struct Request {
  Options options;
  Command command;
  /** The help or the version, if one is asked for instead of a command. */
  std::string text;
};

void Describe(CLI::App& app, Request& request) {
  app.add_option("--machine", request.options.machine,
                 "Use this machine directory or offline Windows volume (not on Windows)")
      ->type_name("DIR");
  app.add_option("--user", request.options.user, "The user of the volume, if it has several (not on Windows)")
      ->type_name("NAME|SID");
  app.add_flag("--no-recovery", request.options.noRecovery,
               "Read the hives of a volume without the changes that are only in their logs");
  app.add_flag("--json", request.options.json, "Print JSON, for programs");
  app.add_flag("--log", request.options.log, "Print the library's log on standard error");
  app.set_version_flag("--version", "kestrelbay " KESTRELBAY_VERSION, "Print the version and exit");
  app.footer(
      "Options may come before or after the command. Without --machine the program uses this computer on\n"
      "Windows, and elsewhere the installed sample machine, which it does not change.\n"
      "Exit status: 0 done, 1 refused or failed, 2 wrong usage.");
  app.allow_windows_style_options(false);
  app.fallthrough();
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Subcommands", "Commands");
  for (AddCommand* add : kCommands) add(app, request.command);
}

/** The parser's message in one line. For an unknown command the parser does not name the word, so this does.
 */
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
  CLI::App app("Shows what is installed on a machine, and installs and removes applications.", "kestrelbay");
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

void Warn(const std::string& line, bool isDamage) { isDamage ? ReportDamage(line) : ReportWarning(line); }

ExitStatus Run(const Request& request) {
  Output out;
  Session session{request.options.json, out, request.options.log, request.options.machine.has_value()};
  if (request.text.empty()) {
    // First, because every other call of the library may log.
    InitDllLogger(request.options.log ? ReportLog : [](const char*, std::int32_t, const char*) {});
    SetVolumeOptions({!request.options.noRecovery, request.options.user});
    if (request.command.needsMachine) OpenMachine(request.options.machine, Warn);
    request.command.run(session);
  } else {
    out.Write(request.text);
  }
  out.Flush();
  return WasDamageReported() ? request.command.failed : session.status;
}

/** @param reported  receives the message of a failure */
int RunToStatus(std::vector<std::string> arguments, std::string& reported) {
  ExitStatus failed = kFailed;
  try {
    const Request request = Read(std::move(arguments));
    failed = request.command.failed;
    return Run(request);
  } catch (const Failure& failure) {
    reported = failure.what();
    ReportError(reported);
    return failure.status == kFailed ? failed : failure.status;
  } catch (const std::exception& error) {
    ReportError(std::string("stopped: ") + error.what());
    return failed;
  }
}

/** Reports a change that a program could not write after the command had judged. @return the exit status */
int ReportLateProblem(const std::string& reported, int status) {
  const std::string problem = WriteProblem();
  if (problem.empty() || reported.find(problem) != reported.npos) return status;
  ReportError("a program could not change the machine: " + problem);
  return std::max<int>(status, kFailed);
}

}  // namespace
}  // namespace cli

int main(int argc, char** argv) {
  std::string reported;
  const int judged = cli::RunToStatus(cli::Start(argc, argv), reported);
  cli::LeaveMachine();
  const int status = cli::ReportLateProblem(reported, judged);
  // Without destructors of static objects: a worker thread of the library may still use them.
  std::_Exit(status);
}

#include <memory>
#include <nlohmann/json.hpp>

#include "KestrelbayGeneralSDK.h"
#include "commands/Job.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

/** Says why it failed and what to do, from the message of the library. */
std::string Explanation(const std::string& errMsg, const std::string& name, const Change& change) {
  if (const std::string problem = WriteProblem(); !problem.empty()) return "not removed: " + problem;
  if (errMsg == "DisplayName is empty!")
    return "no name: give the name under which the application is listed";
  if (errMsg == "Get uninstall path is empty!" && !change.before)
    return "not removed: nothing is listed as \"" + name + "\"; see the names with: kestrelbay list";
  if (errMsg == "Get uninstall path is empty!")
    return "not removed: \"" + name +
           "\" has no uninstall command; remove it with the program that installed it";
  if (errMsg == "Uninstall path is not exist!")
    return "not removed: the uninstaller of \"" + name +
           "\" does not exist; remove the entry with: kestrelbay forget";
  if (errMsg == "Start uninstall process fail!")
    return "not removed: the uninstaller of \"" + name +
           "\" was refused or cannot be started; see the reason with --log";
  // The list was read after the library judged, so it may show a later state.
  if (!change.after)
    return "not removed when the library looked: \"" + name + "\" is gone since then (" + change.InWords() +
           ")";
  return "not removed: \"" + name + "\" is still listed (" + change.InWords() +
         "); its uninstaller failed or is still running; see the result later with: kestrelbay list";
}

void UninstallApp(Session& session, const std::string& name) {
  UninstallRequest& request = LastingRequest<UninstallRequest>();
  FillField(request.displayName, name, "the name");
  Change change{FindListed(name), {}};
  const JobEnd end = FollowJob(session, "Removing " + name, "uninstaller",
                               [&] { Uninstall(&request, [](UninstallRequest*) { ReportJobEnd(); }); });
  change.after = FindListed(name);
  if (session.json) {
    PrintJob(session, {{"displayName", name}, {"result", request.Result}, {"errMsg", request.ErrMsg}}, change,
             end);
  }
  if (std::string(request.Result) != "Success") {
    throw Failure(end.isStopped && change.after && WriteProblem().empty()
                      ? StoppedText(name, "uninstaller", change.after)
                      : Explanation(request.ErrMsg, name, change));
  }
  if (!session.json)
    session.out.Write("Removed " + Printable(name) + ": " + Printable(change.InWords()) + "\n");
}

}  // namespace

void AddUninstall(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("uninstall", "Run the uninstaller of an application");
  auto name = std::make_shared<std::string>();
  command->add_option("NAME", *name, "The name exactly as listed, including case")->required();
  command->footer(
      "The uninstaller runs elevated. The library waits until a key below the application's entry appears "
      "or\n"
      "disappears, and then checks whether the application is still listed. It does not wait for the\n"
      "uninstaller. Ctrl-C ends the wait, but not the uninstaller.");
  command->callback([&chosen, name] { chosen = [name](Session& session) { UninstallApp(session, *name); }; });
}

}  // namespace cli

#include <memory>
#include <nlohmann/json.hpp>

#include "KestrelbayGeneralSDK.h"
#include "commands/Job.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

/** Why it failed and what to do, by the library's own message. */
std::string Explanation(const std::string& errMsg, const std::string& name, const Change& change) {
  if (const std::string problem = WriteProblem(); !problem.empty()) return "not removed: " + problem;
  if (errMsg == "DisplayName is empty!") return "no name: give the one that the application is listed under";
  if (errMsg == "Get uninstall path is empty!" && !change.before)
    return "not removed: nothing is listed as \"" + name + "\"; see the names with: kestrelbay list";
  if (errMsg == "Get uninstall path is empty!")
    return "not removed: \"" + name + "\" has no uninstall command; remove it as it was installed";
  if (errMsg == "Uninstall path is not exist!")
    return "not removed: the uninstaller of \"" + name +
           "\" is gone; take the entry away with: kestrelbay forget";
  if (errMsg == "Start uninstall process fail!")
    return "not removed: the uninstaller of \"" + name + "\" was refused or cannot be started; see --log";
  // This looks a moment later than the library did.
  if (!change.after)
    return "not removed when that was judged: \"" + name + "\" has gone since (" + change.InWords() + ")";
  return "not removed: \"" + name + "\" is still listed (" + change.InWords() +
         "); its uninstaller failed, or is still at work: see kestrelbay list later";
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
  if (std::string(request.Result) != "Success") throw Failure(Explanation(request.ErrMsg, name, change));
  if (!session.json)
    session.out.Write("Removed " + Printable(name) + ": " + Printable(change.InWords()) + "\n");
}

}  // namespace

void AddUninstall(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("uninstall", "Run an application's own uninstaller");
  auto name = std::make_shared<std::string>();
  command->add_option("NAME", *name, "Name exactly as listed, case included")->required();
  command->footer(
      "The uninstaller runs elevated. The library waits for a key to come or go at the application's entry,\n"
      "not for the uninstaller, and then looks whether it is listed still. Ctrl-C ends the wait and not the\n"
      "uninstaller.");
  command->callback([&chosen, name] { chosen = [name](Session& session) { UninstallApp(session, *name); }; });
}

}  // namespace cli

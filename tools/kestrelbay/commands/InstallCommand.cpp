#include <memory>
#include <nlohmann/json.hpp>

#include "KestrelbayGeneralSDK.h"
#include "commands/Job.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

struct InstallOptions {
  std::string installer;
  std::string name;
  std::string parameters;
};

void Fill(InstallRequest& request, const InstallOptions& options) {
  FillField(request.installerPath, options.installer, "the installer's path");
  FillField(request.displayName, options.name, "the name");
  FillField(request.installerParams, options.parameters, "the text of --args");
}

/** Why it failed and what to do, by the library's own message. */
std::string Explanation(const std::string& errMsg, const InstallOptions& options, const Change& change) {
  if (const std::string problem = WriteProblem(); !problem.empty())
    return "\"" + options.name + "\" is not changed: " + problem;
  if (errMsg == "Install path is empty!") return "no installer: name its path on the machine";
  if (errMsg == "Install path is not exist!")
    return "no installer: there is no file " + options.installer + " on the machine; give its whole path";
  if (errMsg == "DisplayName is empty!")
    return "no name: give the one that the application will be listed under, with --name";
  const bool isUpdate = errMsg == "Update fail!";
  // This looks a moment later than the library did.
  if (change.Kind() != (isUpdate ? "still there" : "none"))
    return (isUpdate ? "not updated" : "not installed") + std::string(" when that was judged: \"") +
           options.name + "\" has changed since (" + change.InWords() + "), see kestrelbay list";
  if (isUpdate)
    return "not updated: \"" + options.name + "\" has its version still (" + change.InWords() +
           "); the installer failed or was refused, see --log";
  return "not installed: \"" + options.name + "\" is not listed (" + change.InWords() +
         "); the installer failed, was refused, or registers another name: see kestrelbay list";
}

std::string Success(const Change& change, const std::string& name) {
  const std::string told = Printable(name) + ": " + Printable(change.InWords()) + "\n";
  // A version that is gone counts as changed, so the library calls this a success.
  if (change.Kind() == "gone") return "Removed by its installer, " + told;
  return (change.before ? "Updated " : "Installed ") + told;
}

void InstallApp(Session& session, const InstallOptions& options) {
  InstallRequest& request = LastingRequest<InstallRequest>();
  Fill(request, options);
  Change change{FindListed(options.name), {}};
  const JobEnd end = FollowJob(session, "Installing " + options.name, "installer",
                               [&] { Install(&request, [](InstallRequest*) { ReportJobEnd(); }); });
  change.after = FindListed(options.name);
  if (session.json) {
    PrintJob(session,
             {{"displayName", options.name},
              {"result", request.Result},
              {"errMsg", request.ErrMsg},
              {"displayVersion", request.DisplayVersion}},
             change, end);
  }
  if (std::string(request.Result) != "Success") throw Failure(Explanation(request.ErrMsg, options, change));
  if (const std::string problem = WriteProblem(); !problem.empty())
    throw Failure("\"" + options.name + "\" is changed in part: " + problem);
  if (!session.json) session.out.Write(Success(change, options.name));
}

}  // namespace

void AddInstall(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("install", "Run an installer, and see whether it did its work");
  auto options = std::make_shared<InstallOptions>();
  command->add_option("INSTALLER", options->installer, "Path of the installer on the machine")->required();
  command->add_option("--name", options->name, "Name that the application is listed under")->required();
  command->add_option("--args", options->parameters, "Parameters of the installer, as one text")
      ->type_name("TEXT");
  command->footer(
      "The installer runs elevated. What counts is whether the application is listed afterwards, or has\n"
      "changed its version, not the installer's exit code. Ctrl-C ends the wait and not the installer.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { InstallApp(session, *options); }; });
}

}  // namespace cli

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

/** Says why it failed and what to do, from the message of the library. */
std::string Explanation(const std::string& errMsg, const InstallOptions& options, const Change& change) {
  if (const std::string problem = WriteProblem(); !problem.empty())
    return "\"" + options.name + "\" is not changed: " + problem;
  if (errMsg == "Install path is empty!") return "no installer: name its path on the machine";
  if (errMsg == "Install path is not exist!")
    return "no installer: there is no file " + options.installer + " on the machine; give its whole path";
  if (errMsg == "DisplayName is empty!")
    return "no name: give the one that the application will be listed under, with --name";
  const bool isUpdate = errMsg == "Update fail!";
  // The list was read after the library judged, so it may show a later state.
  if (change.Kind() != (isUpdate ? "still there" : "none"))
    return (isUpdate ? "not updated" : "not installed") + std::string(" when the library looked: \"") +
           options.name + "\" has changed since then (" + change.InWords() + "); see kestrelbay list";
  if (isUpdate)
    return "not updated: \"" + options.name + "\" has the same version as before (" + change.InWords() +
           "); the installer failed or was refused; see the reason with --log";
  return "not installed: \"" + options.name + "\" is not listed (" + change.InWords() +
         "); the installer failed, was refused, or registers another name: see kestrelbay list";
}

std::string Success(const Change& change, const std::string& name) {
  const std::string text = Printable(name) + ": " + Printable(change.InWords()) + "\n";
  // The library compares versions only: an application that is gone has another version, which is success.
  if (change.Kind() == "gone") return "Removed by its installer, " + text;
  return (change.before ? "Updated " : "Installed ") + text;
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
  if (std::string(request.Result) != "Success") {
    const bool isUndecided = end.isStopped && WriteProblem().empty() &&
                             (change.Kind() == "none" || change.Kind() == "still there");
    throw Failure(isUndecided ? StoppedText(options.name, "installer", change.after)
                              : Explanation(request.ErrMsg, options, change));
  }
  if (const std::string problem = WriteProblem(); !problem.empty())
    throw Failure("\"" + options.name + "\" is changed in part: " + problem);
  if (!session.json) session.out.Write(Success(change, options.name));
}

}  // namespace

void AddInstall(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("install", "Run an installer and check that it worked");
  auto options = std::make_shared<InstallOptions>();
  command->add_option("INSTALLER", options->installer, "Path of the installer on the machine")->required();
  command->add_option("--name", options->name, "Name under which the application will be listed")->required();
  command->add_option("--args", options->parameters, "Parameters for the installer, as one text")
      ->type_name("TEXT");
  command->footer(
      "The installer runs elevated. It has worked if the application is listed afterwards, or is listed "
      "with\n"
      "another version. Its exit code does not count. Ctrl-C ends the wait, but not the installer.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { InstallApp(session, *options); }; });
}

}  // namespace cli

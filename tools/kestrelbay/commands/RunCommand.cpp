#include <chrono>
#include <memory>
#include <thread>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"

namespace cli {
namespace {

// The library does not report when an asynchronous start is done, and the end of this process would stop it.
constexpr std::chrono::milliseconds kTimeToStart(500);

struct RunOptions {
  std::string program;
  std::vector<std::string> arguments;
  bool asynchronous = false;
};

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

void PrintStarted(Session& session, const RunOptions& options) {
  if (session.json) {
    session.out.Write(options.asynchronous ? "{\"started\":null}\n" : "{\"started\":true}\n");
  } else if (options.asynchronous) {
    session.out.Write("Asked for " + Printable(options.program) +
                      "; the library does not report whether it started.\n");
  } else {
    session.out.Write("Started " + Printable(options.program) + ".\n");
  }
}

void RunProgram(Session& session, const RunOptions& options) {
  const std::string arguments = Joined(options.arguments);
  if (options.asynchronous) {
    StartAnyExeAsync(options.program.c_str(), arguments.c_str());
    std::this_thread::sleep_for(kTimeToStart);
  } else if (!StartAnyExe(options.program.c_str(), arguments.c_str())) {
    throw Failure("not started: " + options.program +
                  " does not exist or is not a program; give its full path");
  }
  PrintStarted(session, options);
}

}  // namespace

void AddRun(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("run", "Start any program, without elevation");
  auto options = std::make_shared<RunOptions>();
  command->add_option("EXE", options->program, "Path of the program on the machine")->required();
  command->add_option("ARGS", options->arguments,
                      "Its arguments; put -- before them if one begins with a hyphen");
  command->add_flag("--async", options->asynchronous, "Start it on a thread of the library");
  command->footer("Arguments are joined by spaces and passed on unchanged: nothing is quoted.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { RunProgram(session, *options); }; });
}

}  // namespace cli

#include <chrono>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "capture/CaptureWriter.h"
#include "capture/FactsCapture.h"
#include "capture/IconCapture.h"
#include "capture/MachineCalls.h"
#include "capture/Redaction.h"
#include "capture/RegistryCapture.h"
#include "capture/Text.h"
#include "commands/Answers.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/Progress.h"
#include "console/System.h"
#include "views/Inventory.h"
#include "views/Messages.h"

namespace cli {
namespace {

constexpr std::uint64_t kMostIconBytes = 64 << 20;

struct CaptureOptions {
  std::string directory;
  bool icons = false;
  bool redact = false;
  bool answers = false;
};

std::string Now() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  char text[sizeof "2026-01-01T00:00:00Z"];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
  return text;
}

std::vector<std::u16string> DisplayIcons() {
  const Inventory inventory(false);
  std::vector<std::u16string> icons;
  for (const InstalledAppEntry& app : inventory.Apps()) icons.push_back(capture::ToWide(app.displayIcon));
  return icons;
}

/** The capture has what was recovered, and lacks what is damaged. REQUIRES: all else is captured. */
void NoteVolume(capture::CapturedMachine& machine) {
  const auto volume = DescribeVolume();
  if (!volume) return;
  for (const RecoveredHive& hive : volume->recovered) {
    // A loss is among the damage.
    if (!hive.loss.empty()) continue;
    const std::string what =
        "recovered " + std::to_string(hive.entries) + " log entries, newest change " + hive.newestChange;
    machine.notes.push_back({capture::ToWide(hive.key), capture::ToWide(what)});
  }
  for (const std::string& line : volume->damage) {
    // Most lines begin with the path of a file.
    const std::size_t colon = line.find(": ");
    const std::string place = colon == line.npos ? "" : line.substr(0, colon);
    const std::string what = colon == line.npos ? line : line.substr(colon + 2);
    machine.notes.push_back({capture::ToWide(place), capture::ToWide(what)});
  }
}

capture::CapturedMachine ReadMachine(const CaptureOptions& options) {
  Progress progress("Capturing the machine");
  const auto keepWaiting = [&progress] {
    if (WasInterrupted()) throw Failure("stopped by Ctrl-C: nothing is written");
    progress.UpdateTime();
  };
  capture::CapturedMachine machine;
  machine.userSid = capture::UserSid();
  machine.account = capture::UserAccount();
  machine.session = capture::Session();
  capture::RegistryCapture(machine, keepWaiting).Run();
  capture::CaptureFacts(machine);
  capture::CaptureEnvironment(machine);
  if (options.icons) capture::CaptureIconFiles(DisplayIcons(), kMostIconBytes, machine, keepWaiting);
  NoteVolume(machine);
  return machine;
}

void Print(Session& session, const std::string& directory, const capture::CaptureSummary& summary) {
  if (session.json) {
    return session.out.WriteJsonLine({{"directory", directory},
                                      {"keys", summary.keys},
                                      {"files", summary.files},
                                      {"bytes", summary.bytes},
                                      {"notes", summary.notes.size()}});
  }
  session.out.Write(Printable(directory) + ": " + std::to_string(summary.keys) + " keys, " +
                    std::to_string(summary.files) + " files of icons, " + std::to_string(summary.bytes) +
                    " bytes\n");
}

void Capture(Session& session, const CaptureOptions& options) {
  try {
    capture::CheckTarget(options.directory);
    CatchInterrupt();
    capture::CapturedMachine machine = ReadMachine(options);
    std::optional<Answers> answers;
    if (options.answers) answers.emplace().AddTo(machine);
    if (options.redact) capture::Redact(machine, capture::ReadIdentity(machine));
    if (answers) answers->TakeFrom(machine);
    const capture::CaptureInfo info{"kestrelbay " KESTRELBAY_VERSION, Now(), options.redact};
    const capture::CaptureSummary summary =
        capture::WriteCapture(std::move(machine), info, options.directory);
    if (answers) answers->Write(options.directory);
    for (const std::u16string& note : summary.notes) ReportWarning(capture::ToUtf8(note));
    Print(session, options.directory, summary);
  } catch (const capture::CaptureError& error) {
    throw Failure(error.what());
  }
}

}  // namespace

void AddCapture(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("capture", "Write a copy of what the library reads of the machine");
  auto options = std::make_shared<CaptureOptions>();
  command->add_option("DIR", options->directory, "Folder to write, empty or not there yet")
      ->required()
      ->check(RefuseEmpty);
  command->add_flag("--icons", options->icons, "Copy the files of the icons too, at most 64 MiB in all");
  command->add_flag("--answers", options->answers,
                    "Write what list and explain answer on this machine as well");
  command->add_flag("--redact", options->redact, "Replace names of users and of the machine");
  command->footer(
      "DIR becomes a machine directory with everything that the library reads of this machine, and nothing\n"
      "else: kestrelbay --machine DIR lists the same applications on another computer. The registry is only\n"
      "read. DIR/machine.json notes what cannot be read, and each use of DIR reports these notes.\n"
      "--redact replaces names of users and of the machine, its SIDs, and the paths below users' folders,\n"
      "each by the same text in all files. docs/support.md lists what is hidden.");
  command->callback(
      [&chosen, options] { chosen = [options](Session& session) { Capture(session, *options); }; });
}

}  // namespace cli

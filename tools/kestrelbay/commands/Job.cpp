#include "commands/Job.h"

#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>

#include "KestrelbayGeneralSDK.h"
#include "console/Failure.h"
#include "console/Progress.h"
#include "console/System.h"
#include "views/Inventory.h"
#include "views/Messages.h"

namespace cli {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks(100);

/** Never destroyed: at the end of the process a worker thread may still be in the callback. */
struct JobReport {
  std::mutex mutex;
  std::condition_variable changed;
  bool isReceived = false;
};

JobReport& TheReport() {
  static auto& report = *new JobReport;
  return report;
}

bool WaitForReport() {
  JobReport& report = TheReport();
  std::unique_lock held(report.mutex);
  return report.changed.wait_for(held, kBetweenLooks, [&] { return report.isReceived; });
}

std::string InWords(const ListedVersion& version) {
  if (!version) return "not installed";
  return version->empty() ? "no version" : *version;
}

nlohmann::ordered_json ToJson(const ListedVersion& version) {
  if (!version) return nullptr;
  return {{"displayVersion", *version}};
}

}  // namespace

ListedVersion FindListed(const std::string& name) {
  const Inventory inventory(false);
  for (const InstalledAppEntry& app : inventory.Apps())
    if (name == app.displayName) return app.displayVersion;
  return std::nullopt;
}

std::string Change::InWords() const { return cli::InWords(before) + " -> " + cli::InWords(after); }

std::string Change::Kind() const {
  if (!before) return after ? "appeared" : "none";
  if (!after) return "gone";
  return *before == *after ? "still there" : "version changed";
}

JobEnd FollowJob(const Session& session, const std::string& task, const std::string& program,
                 const std::function<void()>& start) {
  CatchInterrupt();
  Progress progress(task);
  JobEnd end;
  bool isGivenUp = false;
  start();
  while (!WaitForReport()) {
    if (!isGivenUp && !WriteProblem().empty()) {
      // The library would wait forever, because the change cannot come.
      isGivenUp = true;
      SetStopAppEvent();
    }
    if (WasInterrupted() && !end.isStopped) {
      progress.Erase();
      end.isStopped = true;
      SetStopAppEvent();
      ReportWarning("no longer waiting: the " + program + " goes on by itself");
    }
    // The log and a progress line would overwrite each other.
    if (!session.logs) progress.UpdateTime();
  }
  return end;
}

void ReportJobEnd() {
  JobReport& report = TheReport();
  const std::lock_guard held(report.mutex);
  report.isReceived = true;
  report.changed.notify_all();
}

std::string StoppedText(const std::string& name, const std::string& program, const ListedVersion& version) {
  return "stopped waiting: \"" + name + "\" " +
         (version ? "is still listed with version \"" + *version + '"' : "is not listed yet") + ", and the " +
         program + " goes on by itself; see the result later with: kestrelbay list";
}

void CheckLength(std::size_t bytes, std::size_t capacityBytes, const std::string& what) {
  if (bytes < capacityBytes) return;
  throw Failure(what + " has " + std::to_string(bytes) + " bytes; the library takes at most " +
                    std::to_string(capacityBytes - 1),
                kWrongUsage);
}

void PrintJob(Session& session, nlohmann::ordered_json fields, const Change& change, const JobEnd& end) {
  fields["before"] = ToJson(change.before);
  fields["after"] = ToJson(change.after);
  fields["change"] = change.Kind();
  fields["stopped"] = end.isStopped;
  session.out.WriteJsonLine(fields);
  // Now, because a job that failed ends the command by an exception.
  session.out.Flush();
}

}  // namespace cli

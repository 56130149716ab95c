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

/** Never destroyed: the worker may still be on its way out of the callback at the end of the process. */
struct EndOfJob {
  std::mutex mutex;
  std::condition_variable changed;
  bool isThere = false;
};

EndOfJob& TheEnd() {
  static auto& end = *new EndOfJob;
  return end;
}

bool WaitForEnd() {
  EndOfJob& end = TheEnd();
  std::unique_lock held(end.mutex);
  return end.changed.wait_for(held, kBetweenLooks, [&] { return end.isThere; });
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

JobEnd FollowJob(const Session& session, const std::string& doing, const std::string& program,
                 const std::function<void()>& start) {
  CatchInterrupt();
  Progress progress(doing);
  JobEnd end;
  bool isGivenUp = false;
  start();
  while (!WaitForEnd()) {
    if (!isGivenUp && !WriteProblem().empty()) {
      // The change that the library waits for will never come.
      isGivenUp = true;
      SetStopAppEvent();
    }
    if (WasInterrupted() && !end.isStopped) {
      progress.Erase();
      end.isStopped = true;
      SetStopAppEvent();
      ReportWarning("no longer waiting: the " + program +
                    " goes on by itself, and this is judged as it stands now");
    }
    // Lines of the log would be written into it.
    if (!session.logs) progress.UpdateTime();
  }
  return end;
}

void ReportJobEnd() {
  EndOfJob& end = TheEnd();
  const std::lock_guard held(end.mutex);
  end.isThere = true;
  end.changed.notify_all();
}

void CheckLength(std::size_t bytes, std::size_t room, const std::string& what) {
  if (bytes < room) return;
  throw Failure(what + " has " + std::to_string(bytes) + " bytes; the library takes at most " +
                    std::to_string(room - 1),
                kWrongUsage);
}

void PrintJob(Session& session, nlohmann::ordered_json fields, const Change& change, const JobEnd& end) {
  fields["before"] = ToJson(change.before);
  fields["after"] = ToJson(change.after);
  fields["change"] = change.Kind();
  fields["stopped"] = end.isStopped;
  session.out.WriteJsonLine(fields);
  // What failed is told on standard error as well, and that ends the command.
  session.out.Flush();
}

}  // namespace cli

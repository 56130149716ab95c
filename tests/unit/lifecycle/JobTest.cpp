#include "lifecycle/JobTest.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "base/LoadTimeObjects.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

std::mutex reportsMutex;
std::condition_variable reportsChanged;
std::vector<Report> reports;
std::size_t endedCount = 0;
std::thread::id hostThread;

std::mutex& Turn() {
  static std::mutex turn;
  return turn;
}

/** The turn of a worker to report: taken with its first report, and released when its thread ends. */
struct WorkersTurn {
  WorkersTurn() { Turn().lock(); }
  ~WorkersTurn() {
    Turn().unlock();
    const std::lock_guard held(reportsMutex);
    ++endedCount;
    reportsChanged.notify_all();
  }
};

template <class Flow, class Request>
void Receive(Request* request, int callback) {
  thread_local const WorkersTurn turn;
  static_cast<void>(turn);
  const bool isRegistered = Flow::GetInstance().jobMap.contains(request->displayName);
  std::string version;
  if constexpr (requires { request->DisplayVersion; }) version = request->DisplayVersion;
  const std::lock_guard held(reportsMutex);
  reports.push_back({request, callback, request->Result, request->ErrMsg, version, isRegistered,
                     std::this_thread::get_id() == hostThread});
  reportsChanged.notify_all();
}

/** Much longer than any job of a test. */
constexpr std::chrono::seconds kDeadline(60);

/** Waits for a condition. After a minute it ends the process, because the objects of the job may hang. */
template <class Condition>
void WaitOrAbort(std::condition_variable& changed, std::unique_lock<std::mutex>& held, const char* awaited,
                 Condition condition) {
  if (changed.wait_for(held, kDeadline, condition)) return;
  std::fprintf(stderr, "waited %lld s in vain for %s\n", static_cast<long long>(kDeadline.count()), awaited);
  std::abort();
}

void ResetStopEvent() {
  auto& handles = simulated::Handles::Shared();
  handles.Signal(*handles.Find(StopEvent), false);
}

}  // namespace

void Gate::Pass() {
  std::unique_lock held(mutex);
  ++arrivals;
  changed.notify_all();
  WaitOrAbort(changed, held, "a gate to open", [this] { return isOpen; });
}

void Gate::Open() {
  const std::lock_guard held(mutex);
  isOpen = true;
  changed.notify_all();
}

void Gate::WaitForArrivals(std::size_t count) {
  std::unique_lock held(mutex);
  WaitOrAbort(changed, held, "programs to come to a gate", [&] { return arrivals >= count; });
}

JobTest::JobTest() {
  machine.clock.UseSimulatedTime();
  machine.registry.CreateKey(kProductsPath);
  ResetStopEvent();
  const std::lock_guard held(reportsMutex);
  reports.clear();
  endedCount = 0;
  hostThread = std::this_thread::get_id();
}

JobTest::~JobTest() {
  WaitForEnds(startedCount);
  machine.programs.WaitForAll();
  ResetStopEvent();
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
  EXPECT_TRUE(AppUninstall::GetInstance().jobMap.empty());
}

void JobTest::AddApp(const std::u16string& name, const std::u16string& version,
                     const std::u16string& command) {
  SetTexts(KeyOf(name),
           {{u"DisplayName", name}, {u"DisplayVersion", version}, {u"UninstallString", command}});
}

void JobTest::RemoveApp(const std::u16string& name) { machine.registry.RemoveKey(KeyOf(name)); }

void JobTest::SetProgram(const std::u16string& path, const std::function<int()>& run, bool givesHandle) {
  machine.drives.AddFile(path);
  machine.programs.Set(path, {.run = run, .givesHandle = givesHandle});
}

std::size_t JobTest::WorkerLines() const {
  std::size_t count = 0;
  for (const std::string& message : log.Messages())
    count += !message.starts_with("StartInstall begin.") && !message.starts_with("StartUninstall begin");
  return count;
}

template <class StartJob>
void JobTest::StartAndWaitForWorker(StartJob start) {
  const std::size_t before = WorkerLines();
  ++startedCount;
  start();
  log.WaitUntil([&] { return WorkerLines() > before; });
}

void JobTest::Start(InstallRecord& record, InstallCallback callback) {
  StartAndWaitForWorker([&] { Install(&record, callback); });
}

void JobTest::Start(UninstallRecord& record, UninstallCallback callback) {
  StartAndWaitForWorker([&] { Uninstall(&record, callback); });
}

void JobTest::Run(InstallRecord& record) {
  Start(record);
  WaitForEnds(startedCount);
}

void JobTest::Run(UninstallRecord& record) {
  Start(record);
  WaitForEnds(startedCount);
}

std::vector<std::string> JobTest::WithoutDetail(const std::vector<std::string>& calls) {
  std::vector<std::string> steps;
  for (const std::string& call : calls) {
    const auto begins = [&](const char* name) { return call.starts_with(name); };
    const bool isText =
        begins("Expand") || begins("MultiByte") || begins("WideChar") || begins("v") || begins("_vscprintf");
    if (isText) continue;
    const std::string step = begins("Reg") ? "registry" : call;
    if (steps.empty() || steps.back() != step) steps.push_back(step);
  }
  return steps;
}

void JobTest::ReceiveInstall(InstallRequest* request) { Receive<AppInstall>(request, 1); }

void JobTest::ReceiveInstallElsewhere(InstallRequest* request) { Receive<AppInstall>(request, 2); }

void JobTest::ReceiveUninstall(UninstallRequest* request) { Receive<AppUninstall>(request, 1); }

void JobTest::ReceiveUninstallElsewhere(UninstallRequest* request) { Receive<AppUninstall>(request, 2); }

void JobTest::WaitForEnds(std::size_t count) {
  std::unique_lock held(reportsMutex);
  WaitOrAbort(reportsChanged, held, "jobs to end", [&] { return endedCount >= count; });
}

std::vector<Report> JobTest::Reports() const {
  const std::lock_guard held(reportsMutex);
  return reports;
}

}  // namespace kestrelbay

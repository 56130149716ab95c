/**
 * job-costs [JOBS [APPLICATIONS]]: the cost of jobs on a simulated machine with a stopped clock.
 *
 * Prints the time that a start costs its caller without the pause, the time of an installation and of its two
 * scans, and the time until 64 jobs at once have reported. Compares the memory and the handles that many jobs
 * leave with those of the same look-ups and starts without a job. Ends with status 1 if a job fails or leaks,
 * for any time.
 */
#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "CountedMemory.h"
#include "FilledMachine.h"
#include "KestrelbayGeneralSDK.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "simulated/base/Handles.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

using std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr std::size_t kAtOnce = 64;
/**
 * The list of starts, 72 bytes each, and the table of handles of the machine grow in steps, and the two
 * compared runs may grow at different times: up to 96 bytes per job were measured, in both directions, and
 * less with more jobs. A leak of a job would be the same in every run.
 */
constexpr double kMostOwnBytes = 128;
const std::u16string kEntry = u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Job";

/** Counts workers that have reported and ended. One reports at a time, because their table has no lock. */
class Ends {
 public:
  void WaitFor(std::size_t count) {
    std::unique_lock held(mutex_);
    changed_.wait(held, [&] { return count_ >= count; });
  }
  void Enter() { turn_.lock(); }
  void Leave() {
    turn_.unlock();
    const std::lock_guard held(mutex_);
    ++count_;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::mutex turn_;
  std::condition_variable changed_;
  std::size_t count_ = 0;
};

Ends ends;
std::size_t started = 0;

struct Turn {
  Turn() { ends.Enter(); }
  ~Turn() { ends.Leave(); }
};

template <class Request>
void Receive(Request*) {
  thread_local const Turn turn;
  static_cast<void>(turn);
}

/** An event for which programs wait. */
class Gate {
 public:
  void Pass() {
    std::unique_lock held(mutex_);
    ++arrivals_;
    changed_.notify_all();
    changed_.wait(held, [this] { return isOpen_; });
  }
  void WaitForArrivals(std::size_t count) {
    std::unique_lock held(mutex_);
    changed_.wait(held, [&] { return arrivals_ >= count; });
  }
  void Open() {
    const std::lock_guard held(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t arrivals_ = 0;
  bool isOpen_ = false;
};

void AddApp(simulated::Machine& machine, const std::u16string& key, const std::u16string& name) {
  machine.registry.SetText(key, u"DisplayName", name);
  machine.registry.SetText(key, u"UninstallString", u"C:\\remove.exe");
}

template <class Request>
struct Record : Request {
  explicit Record(const std::string& name) : Request{} {
    name.copy(this->displayName, sizeof this->displayName - 1);
  }
  char room[1024] = {};
};

struct InstallRecord : Record<InstallRequest> {
  InstallRecord(const std::string& path, const std::string& name) : Record(name) {
    path.copy(installerPath, sizeof installerPath - 1);
  }
};

double StartInstall(InstallRecord& request) {
  ++started;
  const auto before = steady_clock::now();
  Install(&request, &Receive<InstallRequest>);
  return Microseconds(steady_clock::now() - before).count();
}

bool RunRound(simulated::Machine& machine, double& startMicroseconds, double& jobMicroseconds) {
  const auto begin = steady_clock::now();
  InstallRecord installation("C:\\setup.exe", "Job");
  startMicroseconds += StartInstall(installation);
  ends.WaitFor(started);
  jobMicroseconds += Microseconds(steady_clock::now() - begin).count();
  Record<UninstallRequest> removal("Job");
  ++started;
  Uninstall(&removal, &Receive<UninstallRequest>);
  ends.WaitFor(started);
  machine.programs.WaitForAll();
  return std::strcmp(installation.Result, "Success") == 0 && std::strcmp(removal.Result, "Success") == 0;
}

double ScanMicroseconds() {
  constexpr int kRounds = 20;
  const auto begin = steady_clock::now();
  for (int round = 0; round < kRounds; ++round) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 0;
    GetInstalledAppList(&entries, &count, false);
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  }
  return Microseconds(steady_clock::now() - begin).count() / kRounds;
}

/** Looks up an application by name, which leaves its list allocated. */
void LookUp() {
  char buffer[1];
  std::int32_t size = 0;
  GetAppVersion("none", "", buffer, &size);
}

platform::HANDLE StartProgram(const char16_t* path) {
  platform::SHELLEXECUTEINFOW execute{};
  execute.cbSize = sizeof execute;
  execute.fMask = platform::SEE_MASK_NOCLOSEPROCESS;
  execute.lpVerb = u"runas";
  execute.lpFile = path;
  platform::ShellExecuteExW(&execute);
  return execute.hProcess;
}

/** Does the calls of a job that leave memory by design: its look-ups, and the start of its program. */
double BytesOfTheRules(simulated::Machine& machine, std::size_t rounds) {
  const std::size_t before = bench::BytesInUse();
  for (std::size_t round = 0; round < rounds; ++round) {
    LookUp();
    const platform::HANDLE installer = StartProgram(u"C:\\setup.exe");
    machine.programs.WaitForAll();
    platform::CloseHandle(installer);
    LookUp();
    LookUp();
    StartProgram(u"C:\\remove.exe");
    machine.programs.WaitForAll();
    LookUp();
  }
  return static_cast<double>(bench::BytesInUse() - before) / static_cast<double>(2 * rounds);
}

/** @return whether all jobs reported a success */
bool RunAtOnce(simulated::Machine& machine) {
  Gate gate;
  std::vector<std::unique_ptr<InstallRecord>> requests;
  for (std::size_t i = 0; i < kAtOnce; ++i) {
    const std::string digits = std::to_string(i);
    const std::u16string number(digits.begin(), digits.end());
    machine.drives.AddFile(u"C:\\" + number + u".exe");
    machine.programs.Set(u"C:\\" + number + u".exe", {.run = [&machine, &gate, number] {
                           gate.Pass();
                           AddApp(machine, kEntry + number, u"Job" + number);
                           return 0;
                         }});
    requests.push_back(std::make_unique<InstallRecord>("C:\\" + digits + ".exe", "Job" + digits));
    StartInstall(*requests.back());
    // The table has no lock: the next start must wait until the worker has read it.
    gate.WaitForArrivals(i + 1);
  }
  const auto begin = steady_clock::now();
  gate.Open();
  ends.WaitFor(started);
  const double milliseconds = Microseconds(steady_clock::now() - begin).count() / 1000;
  machine.programs.WaitForAll();
  const bool isWhole = std::ranges::all_of(
      requests, [](const auto& request) { return std::strcmp(request->Result, "Success") == 0; });
  std::printf("%zu jobs at once: %s, %.1f ms from the end of their programs to the last report\n", kAtOnce,
              isWhole ? "all report" : "FAILED", milliseconds);
  return isWhole;
}

void SetPrograms(simulated::Machine& machine) {
  machine.drives.AddFile(u"C:\\setup.exe");
  machine.drives.AddFile(u"C:\\remove.exe");
  machine.programs.Set(u"C:\\setup.exe", {.run = [&machine] {
                         const std::lock_guard guard(machine.registry.Lock());
                         AddApp(machine, kEntry, u"Job");
                         return 0;
                       }});
  machine.programs.Set(u"C:\\remove.exe", {.run = [&machine] {
                         machine.registry.RemoveKey(kEntry);
                         return 0;
                       }});
}

}  // namespace

int main(int count, char** values) {
  const std::size_t jobs = count > 1 ? std::strtoul(values[1], nullptr, 10) : 10000;
  const std::size_t applications = count > 2 ? std::strtoul(values[2], nullptr, 10) : 100;
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  const bench::FilledMachine filled(applications);
  simulated::Machine& machine = simulated::CurrentMachine();
  machine.clock.UseSimulatedTime();
  SetPrograms(machine);
  bool isWhole = RunAtOnce(machine);
  const double scanMicroseconds = ScanMicroseconds();
  const double bytesOfTheRules = BytesOfTheRules(machine, jobs / 2);

  const auto& handles = simulated::Handles::Shared();
  const std::size_t processes = handles.OpenCount(simulated::Waitable::Kind::Process);
  const std::size_t events = handles.OpenCount(simulated::Waitable::Kind::Event);
  const std::size_t bytes = bench::BytesInUse();
  double startMicroseconds = 0;
  double jobMicroseconds = 0;
  for (std::size_t job = 0; job < jobs; job += 2)
    isWhole &= RunRound(machine, startMicroseconds, jobMicroseconds);
  const double rounds = static_cast<double>(jobs) / 2;
  const std::size_t leftProcesses = handles.OpenCount(simulated::Waitable::Kind::Process) - processes;
  std::printf("start of an installation: %.0f us beside its pause\n", startMicroseconds / rounds);
  std::printf("whole installation: %.0f us, of which two scans are %.0f us\n", jobMicroseconds / rounds,
              2 * scanMicroseconds);
  const double bytesOfAJob = static_cast<double>(bench::BytesInUse() - bytes) / static_cast<double>(jobs);
  const std::size_t leftEvents = handles.OpenCount(simulated::Waitable::Kind::Event) - events;
  std::printf("%zu jobs: %zu processes, %zu events and %zu keys left open\n", jobs, leftProcesses, leftEvents,
              machine.OpenKeys());
  std::printf("%.0f bytes a job, of which its look-ups and its program are %.0f\n", bytesOfAJob,
              bytesOfTheRules);
  isWhole &= leftProcesses == jobs / 2 && leftEvents == 0 && machine.OpenKeys() == 0;
  isWhole &= std::abs(bytesOfAJob - bytesOfTheRules) < kMostOwnBytes;
  return isWhole ? EXIT_SUCCESS : EXIT_FAILURE;
}

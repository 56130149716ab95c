// Each job with its n-th call of the platform failing, for every n there is.
#include <gmock/gmock.h>

#include <map>
#include <ostream>
#include <thread>

#include "JobTest.h"
#include "frame/CommonFunc.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "simulated/Handles.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using simulated::Handles;
using simulated::Waitable;

/** A row of the table of outcomes: what the caller is told, and the format of the line that is logged. */
struct Row {
  const char* result;
  const char* errMsg;
  const char* format;
};

const Row kMissing{"Fail", "Install path is not exist!", "install path is not exist, installationPath: %s"};
const Row kInstalled{"Success", "NULL", "Install success, displayName: %s"};
const Row kNotInstalled{"Fail", "Cannot find the app from registry!",
                        "Install fail, cannot find the app from registry, displayName: %s"};
const Row kUpdated{"Success", "Update success!", "Update success, displayName: %s"};
const Row kNotUpdated{"Fail", "Update fail!", "Update fail, displayName: %s"};
const Row kNoCommand{"Fail", "Get uninstall path is empty!", "get uninstall path is empty, displayName: %s"};
const Row kProgramMissing{"Fail", "Uninstall path is not exist!", "get uninstall is not exist, exeFile: %s"};
const Row kNotStarted{"Cancel", "Start uninstall process fail!",
                      "Start uninstall process fail, displayName: %s"};
const Row kStillInstalled{"Fail", "The app is still in registry!",
                          "the app is still in registry, displayName: %s"};
const Row kUninstalled{"Success", "NULL", nullptr};

std::string Describe(const Row& row) { return std::string(row.result) + " " + row.errMsg; }

/** What a job is expected to end with, and to leave behind. */
struct Expectation {
  Row row;
  std::string version = {};
};

struct Extent {
  Faults::Extent value;
};

void PrintTo(const Extent& extent, std::ostream* out) {
  *out << (extent.value == Faults::Extent::Once ? "once" : "onwards");
}

const std::u16string kMachineRoot = u"HKEY_LOCAL_MACHINE";

/**
 * One round: a machine of its own, on which one call fails. Its programs do their work while somebody waits
 * for it, and no sooner than that can be seen; where the wait itself fails they do it when all is over. So
 * the outcome never hangs on who is quicker.
 */
class Round : public JobTest {
 public:
  /** @param n  0 for a round in which no call fails; what the calls are is known from such a round */
  Round(std::size_t n, Faults::Extent extent, const std::vector<std::string>& names)
      : failing(n == 0 || n > names.size() ? "none" : names[n - 1]),
        processesBefore(OpenCount(Waitable::Kind::Process)),
        eventsBefore(OpenCount(Waitable::Kind::Event)) {
    if (failing != "WaitForMultipleObjects") gate.Open();
    SetProgram(u"C:\\setup.exe", [this] {
      gate.Pass();
      AddApp(u"App", u"2.0");
      return 0;
    });
    SetProgram(u"C:\\un.exe", [this] {
      machine.registry.WaitForWatch(KeyOf(u"App"));
      gate.Pass();
      RemoveApp(u"App");
      return 0;
    });
    // Records go to log.dll: a message that cannot be formatted would end at the logger's own lock.
    InitDllLogger(nullptr);
    machine.journal.Start();
    if (n > 0) machine.faults.FailNth(n, extent);
  }
  ~Round() override = default;
  void TestBody() override {}

  void AddInstalledApp() { AddApp(u"App", u"1.0", u"C:\\un.exe /S"); }

  void RunInstall(InstallRecord& record) {
    Install(&record, &ReceiveInstall);
    WaitForEnds(1);
    Finish();
  }
  void RunUninstall(UninstallRecord& record) {
    AmidOtherChanges([&] {
      Uninstall(&record, &ReceiveUninstall);
      WaitForEnds(1);
    });
  }

  /** What the rules make of what the steps of an installation give, taken one by one on this machine. */
  Expectation JudgeInstallation() {
    const Expectation expected = TakeInstallSteps();
    Finish();
    return expected;
  }
  Expectation JudgeRemoval() {
    Expectation expected;
    AmidOtherChanges([&] { expected = TakeUninstallSteps(); });
    return expected;
  }

  bool HasFailed() const { return hasFailed; }
  /** Names of the calls that can fail, in order. */
  std::vector<std::string> CallNames() const {
    std::vector<std::string> names;
    for (const simulated::JournalCall& call : machine.journal.Calls())
      if (!call.result.empty()) names.push_back(call.name);
    return names;
  }

  void Expect(const char* result, const char* errMsg, const Expectation& expected) {
    EXPECT_EQ(Describe({result, errMsg, nullptr}), Describe(expected.row)) << failing;
    ExpectLine(expected.row);
    EXPECT_EQ(Reports().size(), 1U) << failing;
    EXPECT_EQ(machine.OpenKeys(), 0U) << failing;
    EXPECT_EQ(OpenCount(Waitable::Kind::Event), eventsBefore) << failing;
    EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty()) << failing;
    EXPECT_TRUE(AppUninstall::GetInstance().jobMap.empty()) << failing;
  }

  std::size_t ProcessesLeftOpen() const { return OpenCount(Waitable::Kind::Process) - processesBefore; }
  std::size_t StartCount() const { return machine.programs.Starts().size(); }
  const std::string& Failing() const { return failing; }

 private:
  static std::size_t OpenCount(Waitable::Kind kind) { return Handles::Shared().OpenCount(kind); }

  static Expectation TakeInstallSteps() {
    AppInstall& flow = AppInstall::GetInstance();
    if (!FileExists("C:\\setup.exe")) return {kMissing};
    ResultMap before;
    flow.InquryInstallInfo(before, "App", "");
    flow.StartInstallProcessAndWait("C:\\setup.exe", "");
    ResultMap after;
    flow.InquryInstallInfo(after, "App", "");
    const std::string version = after.empty() ? "" : after.at("DisplayVersion");
    if (before.empty()) return {after.empty() ? kNotInstalled : kInstalled, version};
    return {before.at("DisplayVersion") == version ? kNotUpdated : kUpdated, version};
  }

  static Expectation TakeUninstallSteps() {
    AppUninstall& flow = AppUninstall::GetInstance();
    const UninstallPlace place = flow.GetUninstallPath("App", "");
    if (place.exePath.empty()) return {kNoCommand};
    if (!FileExists(place.exePath)) return {kProgramMissing};
    if (!flow.StartUninstallProcess(place.exePath, place.para)) return {kNotStarted};
    flow.RegWatcher(place.rootKeyStr, place.subKeyPath, place.architecture, "App");
    ResultMap info;
    flow.InquryUnInstallInfo(info, "App", "");
    return {info.empty() ? kUninstalled : kStillInstalled};
  }

  /** Where the entry's path is lost the whole machine is watched, and only something else ends that wait. */
  void AmidOtherChanges(const std::function<void()>& job) {
    std::thread somethingElse([this] {
      machine.registry.WaitForWatch(kMachineRoot);
      machine.registry.CreateKey(kMachineRoot + u"\\Software\\Else");
    });
    job();
    machine.faults.Clear();
    Watch(kMachineRoot);
    somethingElse.join();
    Finish();
  }

  void Finish() {
    machine.faults.Clear();
    hasFailed = machine.faults.Fired();
    machine.journal.Stop();
    gate.Open();
    Watch(KeyOf(u"App"));
    machine.programs.WaitForAll();
  }

  /** Lets whoever waits for a watch of that key go on, where there was none. */
  void Watch(const std::u16string& path) {
    const std::lock_guard guard(machine.registry.Lock());
    if (const simulated::Key* const key = machine.registry.Find(path)) {
      machine.registry.Watch({key, nullptr, false, simulated::kNameChange,
                              std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Event})});
    }
  }

  /** The row's line was logged, and no other row's. */
  void ExpectLine(const Row& expected) {
    std::vector<std::string> logged;
    for (const simulated::LogRecord& record : machine.LogRecords())
      if (record.format.find("displayName: %s") != record.format.npos ||
          record.format.find(" is not exist, ") != record.format.npos)
        logged.push_back(record.format);
    std::erase(logged, "StartUninstall begin, displayName: %s.");
    const std::vector<std::string> none;
    EXPECT_EQ(logged, expected.format ? std::vector<std::string>{expected.format} : none) << failing;
  }

  Gate gate;
  const std::string failing;
  const std::size_t processesBefore;
  const std::size_t eventsBefore;
  bool hasFailed = false;
};

/** Rows by the name of the call that fails, where the rules tell without more: they hold the steps to
 * account. */
using RowsByCall = std::map<std::string, Row>;

class JobSweep : public testing::TestWithParam<Extent> {
 protected:
  bool IsOnce() const { return GetParam().value == Faults::Extent::Once; }

  /** @return as Sweep */
  std::size_t SweepInstallation(bool isInstalled, const RowsByCall& rows) {
    const auto makeRound = [=, this](std::size_t n, const std::vector<std::string>& names) {
      auto round = std::make_unique<Round>(n, GetParam().value, names);
      if (isInstalled) round->AddInstalledApp();
      return round;
    };
    return Sweep(makeRound, rows, [](Round& round, const Expectation& expected) {
      InstallRecord record("C:\\setup.exe", "App");
      round.RunInstall(record);
      round.Expect(record.Result, record.ErrMsg, expected);
      EXPECT_EQ(record.DisplayVersion, expected.version);
      EXPECT_EQ(round.ProcessesLeftOpen(), 0U);
    });
  }

  /**
   * Has each call fail in turn, first for what is expected and then for the job itself.
   * @return how many calls failed
   */
  template <class MakeRound, class RunJob>
  std::size_t Sweep(MakeRound makeRound, const RowsByCall& rows, RunJob runJob,
                    Expectation (Round::*judge)() = &Round::JudgeInstallation) {
    std::vector<std::string> names;
    {
      const auto rehearsal = makeRound(0, names);
      ((*rehearsal).*judge)();
      names = rehearsal->CallNames();
    }
    std::size_t failures = 0;
    for (std::size_t n = 1; n <= names.size() + 1; ++n) {
      SCOPED_TRACE("call " + std::to_string(n));
      const Expectation expected = ((*makeRound(n, names)).*judge)();
      const auto round = makeRound(n, names);
      if (const auto row = rows.find(round->Failing()); row != rows.end()) {
        EXPECT_EQ(Describe(expected.row), Describe(row->second)) << round->Failing();
      }
      runJob(*round, expected);
      EXPECT_EQ(round->HasFailed(), n <= names.size());
      failures += round->HasFailed();
    }
    return failures;
  }

  static constexpr std::size_t kFewestCalls = 40;
};

INSTANTIATE_TEST_SUITE_P(FailingCall, JobSweep,
                         testing::Values(Extent{Faults::Extent::Once}, Extent{Faults::Extent::Onwards}),
                         testing::PrintToStringParamName());

TEST_P(JobSweep, InstallationOfANewApplication) {
  RowsByCall rows{{"none", kInstalled}, {"_waccess", kMissing}, {"ShellExecuteExW", kNotInstalled}};
  rows.emplace("WaitForMultipleObjects", kNotInstalled);
  rows.emplace("CloseHandle", IsOnce() ? kInstalled : kNotInstalled);
  EXPECT_GT(SweepInstallation(false, rows), kFewestCalls);
}

TEST_P(JobSweep, InstallationOfAnUpdate) {
  // An inventory that fails afterwards is empty, which differs from the version before.
  RowsByCall rows{{"none", kUpdated}, {"_waccess", kMissing}, {"CloseHandle", kUpdated}};
  rows.emplace("ShellExecuteExW", IsOnce() ? kNotUpdated : kUpdated);
  rows.emplace("WaitForMultipleObjects", IsOnce() ? kNotUpdated : kUpdated);
  EXPECT_GT(SweepInstallation(true, rows), kFewestCalls);
}

TEST_P(JobSweep, Removal) {
  RowsByCall rows{{"none", kUninstalled}, {"_waccess", kProgramMissing}, {"ShellExecuteExW", kNotStarted}};
  for (const char* call : {"CreateEventW", "RegNotifyChangeKeyValue", "WaitForMultipleObjects"})
    rows.emplace(call, IsOnce() ? kStillInstalled : kUninstalled);
  rows.emplace("CloseHandle", kUninstalled);
  const auto makeRound = [this](std::size_t n, const std::vector<std::string>& names) {
    auto round = std::make_unique<Round>(n, GetParam().value, names);
    round->AddInstalledApp();
    return round;
  };
  const auto runJob = [](Round& round, const Expectation& expected) {
    UninstallRecord record("App");
    round.RunUninstall(record);
    round.Expect(record.Result, record.ErrMsg, expected);
    // The process of a removal that was started stays open for good.
    EXPECT_EQ(round.ProcessesLeftOpen(), round.StartCount());
  };
  EXPECT_GT(Sweep(makeRound, rows, runJob, &Round::JudgeRemoval), kFewestCalls);
}

}  // namespace
}  // namespace kestrelbay

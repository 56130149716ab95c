// Each job with its n-th call of the platform failing, for every n.
#include <gmock/gmock.h>

#include <map>
#include <ostream>
#include <thread>

#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobOracle.h"
#include "lifecycle/JobTest.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using simulated::Handles;
using simulated::Waitable;

std::string Describe(const ExpectedOutcome& row) { return std::string(row.result) + " " + row.errMsg; }

/** The machine of a round, and the request of its job. */
struct Setting {
  bool isInstalled = false;
  std::string registryPath = {};
  std::u16string command = u"C:\\un.exe /S";
  /** @return the program of the command */
  std::string exePath = "C:\\un.exe";
};

struct Extent {
  Faults::Extent value;
};

void PrintTo(const Extent& extent, std::ostream* out) {
  *out << (extent.value == Faults::Extent::Once ? "once" : "onwards");
}

const std::u16string kMachineRoot = u"HKEY_LOCAL_MACHINE";

/**
 * One round: a machine on which one call fails. A program does its work only when the job waits for it. If
 * the wait itself fails, the program does its work after the job. So the outcome does not depend on which of
 * them is faster.
 */
class Round : public JobTest {
 public:
  /** @param n  the call that fails; 0 for a round without a failure, which shows what the calls are */
  Round(std::size_t n, Faults::Extent extent, const std::vector<std::string>& names, Setting what)
      : setting(std::move(what)),
        failing(n == 0 || n > names.size() ? "none" : names[n - 1]),
        processesBefore(OpenCount(Waitable::Kind::Process)),
        eventsBefore(OpenCount(Waitable::Kind::Event)) {
    if (failing != "WaitForMultipleObjects") gate.Open();
    SetPrograms();
    if (setting.isInstalled) Register(u"1.0");
    // Records go to log.dll, because with a callback the failure of a format ends in the deadlock of the
    // logger.
    InitDllLogger(nullptr);
    machine.journal.Start();
    if (n > 0) machine.faults.FailNth(n, extent);
  }
  ~Round() override = default;
  void TestBody() override {}

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

  /** @return the outcome of the job by the second implementation of the rules, on this machine */
  Expectation JudgeInstallation() {
    const Expectation expected = PlainInstallation("C:\\setup.exe", "App", setting.registryPath);
    Finish();
    return expected;
  }
  Expectation JudgeUninstallation() {
    Expectation expected;
    AmidOtherChanges([&] { expected = PlainUninstallation("App", setting.registryPath, setting.exePath); });
    return expected;
  }

  bool HasFailed() const { return hasFailed; }
  /** @return the names of the calls that can fail, in order */
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
  void SetPrograms() {
    SetProgram(u"C:\\setup.exe", [this] {
      gate.Pass();
      const std::lock_guard guard(machine.registry.Lock());
      Register(u"2.0");
      return 0;
    });
    const auto remove = [this] {
      machine.registry.WaitForWatch(KeyOf(u"App"));
      gate.Pass();
      const std::lock_guard guard(machine.registry.Lock());
      machine.registry.RemoveValue(kMachineRoot, u"DisplayName");
      RemoveApp(u"App");
      return 0;
    };
    SetProgram(u"C:\\un.exe", remove);
    machine.programs.Set(u"un.exe", {.run = remove});
  }

  /** Makes the application, or the key of a given registry path, count as installed. */
  void Register(const std::u16string& version) {
    AddApp(u"App", version, setting.command);
    if (setting.registryPath.empty()) return;
    SetTexts(kMachineRoot, {{u"DisplayName", u"HKEY_CURRENT_USER"},
                            {u"DisplayVersion", version},
                            {u"UninstallString", setting.command},
                            {u"rootKeyStr", kMachineRoot},
                            {u"subKeyPath", KeyOf(u"App").substr(kMachineRoot.size() + 1)}});
  }

  static std::size_t OpenCount(Waitable::Kind kind) { return Handles::Shared().OpenCount(kind); }

  /** Without the path of the entry, the job watches all users. Only another change ends that wait. */
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

  /** Releases the programs that wait for a watch of that key, if there was no watch. */
  void Watch(const std::u16string& path) {
    const std::lock_guard guard(machine.registry.Lock());
    if (const simulated::Key* const key = machine.registry.Find(path)) {
      machine.registry.Watch({key, nullptr, false, simulated::kNameChange,
                              std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Event})});
    }
  }

  /** Checks that the line of this row was logged, and of no other row. */
  void ExpectLine(const ExpectedOutcome& expected) {
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
  const Setting setting;
  const std::string failing;
  const std::size_t processesBefore;
  const std::size_t eventsBefore;
  bool hasFailed = false;
};

/** Rows by the name of the failing call, where one call decides the row. They check the oracle as well. */
using RowsByCall = std::map<std::string, ExpectedOutcome>;

class JobSweep : public testing::TestWithParam<Extent> {
 protected:
  bool IsOnce() const { return GetParam().value == Faults::Extent::Once; }

  /** @return as Sweep */
  std::size_t SweepInstallation(const Setting& setting, const RowsByCall& rows) {
    return Sweep(setting, rows, [&](Round& round, const Expectation& expected) {
      InstallRecord record("C:\\setup.exe", "App", "", setting.registryPath);
      round.RunInstall(record);
      round.Expect(record.Result, record.ErrMsg, expected);
      EXPECT_EQ(record.DisplayVersion, expected.version);
      EXPECT_EQ(round.ProcessesLeftOpen(), 0U);
    });
  }

  /** @return as Sweep */
  std::size_t SweepUninstallation(const Setting& setting, const RowsByCall& rows) {
    const auto runJob = [&](Round& round, const Expectation& expected) {
      UninstallRecord record("App", setting.registryPath);
      round.RunUninstall(record);
      round.Expect(record.Result, record.ErrMsg, expected);
      // The process of an uninstaller that was started stays open.
      EXPECT_EQ(round.ProcessesLeftOpen(), round.StartCount());
    };
    return Sweep(setting, rows, runJob, &Round::JudgeUninstallation);
  }

  /**
   * Makes each call fail in turn, first for the oracle and then for the job.
   * @return the number of failed calls
   */
  template <class RunJob>
  std::size_t Sweep(const Setting& setting, const RowsByCall& rows, RunJob runJob,
                    Expectation (Round::*judge)() = &Round::JudgeInstallation) {
    const auto makeRound = [&](std::size_t n, const std::vector<std::string>& names) {
      return std::make_unique<Round>(n, GetParam().value, names, setting);
    };
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
  static constexpr std::size_t kFewestCallsByPath = 15;
};

INSTANTIATE_TEST_SUITE_P(FailingCall, JobSweep,
                         testing::Values(Extent{Faults::Extent::Once}, Extent{Faults::Extent::Onwards}),
                         testing::PrintToStringParamName());

TEST_P(JobSweep, InstallationOfANewApplication) {
  RowsByCall rows{{"none", kInstalled}, {"_waccess", kMissing}, {"ShellExecuteExW", kNotInstalled}};
  rows.emplace("WaitForMultipleObjects", kNotInstalled);
  rows.emplace("CloseHandle", IsOnce() ? kInstalled : kNotInstalled);
  EXPECT_GT(SweepInstallation({}, rows), kFewestCalls);
}

TEST_P(JobSweep, InstallationOfAnUpdate) {
  // If the second inventory fails, it is empty. That differs from the earlier version.
  RowsByCall rows{{"none", kUpdated}, {"_waccess", kMissing}, {"CloseHandle", kUpdated}};
  rows.emplace("ShellExecuteExW", IsOnce() ? kNotUpdated : kUpdated);
  rows.emplace("WaitForMultipleObjects", IsOnce() ? kNotUpdated : kUpdated);
  EXPECT_GT(SweepInstallation({.isInstalled = true}, rows), kFewestCalls);
}

TEST_P(JobSweep, Uninstallation) {
  RowsByCall rows{{"none", kUninstalled}, {"_waccess", kProgramMissing}, {"ShellExecuteExW", kNotStarted}};
  for (const char* call : {"CreateEventW", "RegNotifyChangeKeyValue", "WaitForMultipleObjects"})
    rows.emplace(call, IsOnce() ? kStillInstalled : kUninstalled);
  rows.emplace("CloseHandle", kUninstalled);
  EXPECT_GT(SweepUninstallation({.isInstalled = true}, rows), kFewestCalls);
}

TEST_P(JobSweep, UninstallationByABareName) {
  RowsByCall rows{{"none", kUninstalled}, {"ShellExecuteExW", kNotStarted}, {"CloseHandle", kUninstalled}};
  for (const char* call : {"CreateEventW", "RegNotifyChangeKeyValue", "WaitForMultipleObjects"})
    rows.emplace(call, IsOnce() ? kStillInstalled : kUninstalled);
  EXPECT_GT(SweepUninstallation({.isInstalled = true, .command = u"un.exe /S", .exePath = "un.exe"}, rows),
            kFewestCalls);
}

TEST_P(JobSweep, InstallationByAGivenPath) {
  RowsByCall rows{{"none", kInstalled}, {"_waccess", kMissing}, {"ShellExecuteExW", kNotInstalled}};
  rows.emplace("WaitForMultipleObjects", kNotInstalled);
  rows.emplace("CloseHandle", IsOnce() ? kInstalled : kNotInstalled);
  EXPECT_GT(SweepInstallation({.registryPath = "any text"}, rows), kFewestCallsByPath);
}

TEST_P(JobSweep, UpdateByAGivenPath) {
  RowsByCall rows{{"none", kUpdated}, {"_waccess", kMissing}, {"CloseHandle", kUpdated}};
  rows.emplace("ShellExecuteExW", IsOnce() ? kNotUpdated : kUpdated);
  rows.emplace("WaitForMultipleObjects", IsOnce() ? kNotUpdated : kUpdated);
  EXPECT_GT(SweepInstallation({.isInstalled = true, .registryPath = "any text"}, rows), kFewestCallsByPath);
}

TEST_P(JobSweep, UninstallationByAGivenPath) {
  RowsByCall rows{{"none", kUninstalled}, {"_waccess", kProgramMissing}, {"ShellExecuteExW", kNotStarted}};
  for (const char* call : {"CreateEventW", "RegNotifyChangeKeyValue", "WaitForMultipleObjects"})
    rows.emplace(call, IsOnce() ? kStillInstalled : kUninstalled);
  rows.emplace("CloseHandle", kUninstalled);
  EXPECT_GT(SweepUninstallation({.isInstalled = true, .registryPath = "any text"}, rows), kFewestCallsByPath);
}

}  // namespace
}  // namespace kestrelbay

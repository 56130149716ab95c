// Each job with its n-th call of the platform failing, for every n there is.
#include <gmock/gmock.h>

#include <map>
#include <ostream>
#include <set>
#include <thread>

#include "JobTest.h"
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
const Row kAllRows[] = {kMissing,   kInstalled,      kNotInstalled, kUpdated,        kNotUpdated,
                        kNoCommand, kProgramMissing, kNotStarted,   kStillInstalled, kUninstalled};

/** Rows by the call that fails; the empty name stands for every call that is not named. */
using RowsByCall = std::map<std::string, std::vector<Row>>;

std::string Describe(const Row& row) { return std::string(row.result) + " " + row.errMsg; }

struct Extent {
  Faults::Extent value;
};

void PrintTo(const Extent& extent, std::ostream* out) {
  *out << (extent.value == Faults::Extent::Once ? "once" : "onwards");
}

const std::u16string kMachineRoot = u"HKEY_LOCAL_MACHINE";

class JobSweep : public testing::TestWithParam<Extent> {};

INSTANTIATE_TEST_SUITE_P(FailingCall, JobSweep,
                         testing::Values(Extent{Faults::Extent::Once}, Extent{Faults::Extent::Onwards}),
                         testing::PrintToStringParamName());

/** One round: a machine of its own, on which one call fails. */
class Round : public JobTest {
 public:
  Round(std::size_t n, Faults::Extent extent) : processesBefore(OpenCount(Waitable::Kind::Process)) {
    SetProgram(u"C:\\setup.exe", [this] {
      AddApp(u"App", u"2.0");
      return 0;
    });
    SetProgram(u"C:\\un.exe", [this] {
      RemoveApp(u"App");
      return 0;
    });
    // Records go to log.dll: a message that cannot be formatted would end at the logger's own lock.
    InitDllLogger(nullptr);
    machine.journal.Start();
    machine.faults.FailNth(n, extent);
  }
  ~Round() override = default;
  void TestBody() override {}

  void AddInstalledApp() { AddApp(u"App", u"1.0", u"C:\\un.exe /S"); }

  void RunInstall(InstallRecord& record) {
    Install(&record, &ReceiveInstall);
    Finish();
  }
  void RunUninstall(UninstallRecord& record) {
    // Where the entry's path is lost, the whole machine is watched, maybe when all is over: the wait has no
    // end until something else changes.
    std::thread somethingElse([this] {
      machine.registry.WaitForWatch(kMachineRoot);
      machine.registry.CreateKey(kMachineRoot + u"\\Software\\Else");
    });
    Uninstall(&record, &ReceiveUninstall);
    Finish();
    WatchMachineRoot();
    somethingElse.join();
  }

  bool HasFailed() const { return hasFailed; }

  /** The operation whose call failed; calls without a result cannot fail and do not count. */
  std::string FailedCall(std::size_t n) const {
    for (const simulated::JournalCall& call : calls)
      if (!call.result.empty() && --n == 0) return call.name;
    return "none";
  }

  void Expect(const char* result, const char* errMsg, const RowsByCall& rowsByCall, std::size_t n) {
    const std::string failed = HasFailed() ? FailedCall(n) : "none";
    const auto found = rowsByCall.find(failed);
    const std::vector<Row>& rows = found == rowsByCall.end() ? rowsByCall.at("") : found->second;
    std::vector<std::string> allowed;
    for (const Row& row : rows) allowed.push_back(Describe(row));
    EXPECT_THAT(allowed, testing::Contains(std::string(result) + " " + errMsg))
        << "call " << n << ", " << failed;
    ExpectLine(result, errMsg);
    EXPECT_EQ(Reports().size(), 1U) << failed;
    EXPECT_EQ(machine.OpenKeys(), 0U) << failed;
  }

  std::size_t ProcessesLeftOpen() const { return OpenCount(Waitable::Kind::Process) - processesBefore; }
  static std::size_t OpenCount(Waitable::Kind kind) { return Handles::Shared().OpenCount(kind); }
  std::size_t StartCount() const { return machine.programs.Starts().size(); }

 private:
  void Finish() {
    WaitForEnds(1);
    machine.faults.Clear();
    hasFailed = machine.faults.Fired();
    machine.journal.Stop();
    calls = machine.journal.Calls();
    machine.programs.WaitForAll();
  }

  /** Ends the wait for such a watch where there was none. */
  void WatchMachineRoot() {
    machine.registry.Watch({machine.registry.Find(kMachineRoot), nullptr, false, simulated::kNameChange,
                            std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Event})});
  }

  /** The row's line was logged, and no other row's. */
  void ExpectLine(const std::string& result, const std::string& errMsg) {
    std::set<std::string> logged;
    for (const simulated::LogRecord& record : machine.LogRecords()) logged.insert(record.format);
    for (const Row& row : kAllRows) {
      const bool isTold = result == row.result && errMsg == row.errMsg;
      if (row.format && errMsg != "NULL") {
        EXPECT_EQ(logged.contains(row.format), isTold) << row.format;
      }
    }
  }

  const std::size_t processesBefore;
  bool hasFailed = false;
  std::vector<simulated::JournalCall> calls;
};

constexpr std::size_t kFewestCalls = 40;

TEST_P(JobSweep, InstallationOfANewApplication) {
  const RowsByCall rows{{"none", {kInstalled}},
                        {"_waccess", {kMissing}},
                        {"MultiByteToWideChar", {kMissing, kNotInstalled, kInstalled}},
                        {"ShellExecuteExW", {kNotInstalled}},
                        {"", {kInstalled, kNotInstalled, kMissing}}};
  std::size_t n = 1;
  for (bool failed = true; failed; ++n) {
    Round round(n, GetParam().value);
    InstallRecord record("C:\\setup.exe", "App");
    round.RunInstall(record);
    round.Expect(record.Result, record.ErrMsg, rows, n);
    EXPECT_EQ(round.ProcessesLeftOpen(), 0U);
    failed = round.HasFailed();
  }
  EXPECT_GT(n, kFewestCalls);
}

TEST_P(JobSweep, InstallationOfAnUpdate) {
  const RowsByCall rows{{"none", {kUpdated}},
                        {"_waccess", {kMissing}},
                        {"MultiByteToWideChar", {kMissing, kUpdated, kNotUpdated}},
                        {"", {kInstalled, kNotInstalled, kUpdated, kNotUpdated, kMissing}}};
  std::size_t n = 1;
  for (bool failed = true; failed; ++n) {
    Round round(n, GetParam().value);
    round.AddInstalledApp();
    InstallRecord record("C:\\setup.exe", "App");
    round.RunInstall(record);
    round.Expect(record.Result, record.ErrMsg, rows, n);
    EXPECT_EQ(round.ProcessesLeftOpen(), 0U);
    failed = round.HasFailed();
  }
  EXPECT_GT(n, kFewestCalls);
}

TEST_P(JobSweep, Removal) {
  const RowsByCall rows{
      {"none", {kUninstalled}},
      {"_waccess", {kProgramMissing}},
      {"ShellExecuteExW", {kNotStarted}},
      {"MultiByteToWideChar", {kProgramMissing, kNotStarted, kUninstalled, kStillInstalled}},
      {"", {kNoCommand, kProgramMissing, kNotStarted, kUninstalled, kStillInstalled}}};
  std::size_t n = 1;
  for (bool failed = true; failed; ++n) {
    const std::size_t events = Round::OpenCount(Waitable::Kind::Event);
    Round round(n, GetParam().value);
    round.AddInstalledApp();
    UninstallRecord record("App");
    round.RunUninstall(record);
    round.Expect(record.Result, record.ErrMsg, rows, n);
    EXPECT_EQ(Round::OpenCount(Waitable::Kind::Event), events);
    // The process of a removal that was started stays open for good.
    EXPECT_EQ(round.ProcessesLeftOpen(), round.StartCount());
    failed = round.HasFailed();
  }
  EXPECT_GT(n, kFewestCalls);
}

}  // namespace
}  // namespace kestrelbay

#include "lifecycle/Jobs.h"

#include <gmock/gmock.h>

#include "base/LoadTimeObjects.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobTest.h"
#include "platform/Events.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

using simulated::Handles;
using simulated::Waitable;
using testing::ElementsAre;

constexpr std::size_t kManyJobs = 64;

class RunningJobs : public JobTest {
 protected:
  /** Adds an installer C:\<name>.exe that waits at the gate and then registers <name>. */
  void SetGatedInstaller(const std::u16string& name, Gate& held) {
    SetProgram(u"C:\\" + name + u".exe", [this, name, &held] {
      held.Pass();
      AddApp(name, u"1.0");
      return 0;
    });
  }

  /** Adds an application whose uninstaller waits at the gate and then removes it. */
  void AddGatedApp(const std::u16string& name, Gate& held) {
    AddApp(name, u"1.0", u"C:\\" + name + u"-un.exe /S");
    SetProgram(u"C:\\" + name + u"-un.exe", [this, name, &held] {
      held.Pass();
      RemoveApp(name);
      return 0;
    });
  }

  static std::u16string Wide(const std::string& text) { return {text.begin(), text.end()}; }

  Gate gate;
};

TEST_F(RunningJobs, CallbackRunsOnTheWorkerWhileTheJobIsStillRegistered) {
  SetGatedInstaller(u"A", gate);
  gate.Open();
  InstallRecord record("C:\\A.exe", "A");
  Run(record);
  ASSERT_EQ(Reports().size(), 1U);
  EXPECT_TRUE(Reports()[0].isRegistered);
  EXPECT_FALSE(Reports()[0].isOnHostThread);
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
}

std::function<void()> startNext;

TEST_F(RunningJobs, StartFromACallbackDoesNotWait) {
  InstallRecord next("", "Next");
  InstallRecord record("", "A");
  startNext = [&] { Start(next); };
  Start(record, [](InstallRequest* request) {
    ReceiveInstall(request);
    startNext();
  });
  WaitForEnds(2);
  ASSERT_EQ(Reports().size(), 2U);
  EXPECT_EQ(Reports()[1].request, static_cast<InstallRequest*>(&next));
}

TEST_F(RunningJobs, StarterReturnsWhileTheJobRuns) {
  SetGatedInstaller(u"A", gate);
  InstallRecord record("C:\\A.exe", "A");
  Start(record);
  gate.WaitForArrivals(1);
  EXPECT_TRUE(Reports().empty());
  gate.Open();
  WaitForEnds(1);
}

TEST_F(RunningJobs, NewCallbackReceivesTheOlderJobToo) {
  Gate second;
  SetGatedInstaller(u"A", gate);
  SetGatedInstaller(u"B", second);
  InstallRecord a("C:\\A.exe", "A");
  InstallRecord b("C:\\B.exe", "B");
  Start(a, &ReceiveInstall);
  Start(b, &ReceiveInstallElsewhere);
  gate.Open();
  WaitForEnds(1);
  second.Open();
  WaitForEnds(2);
  ASSERT_EQ(Reports().size(), 2U);
  EXPECT_EQ(Reports()[0].request, static_cast<InstallRequest*>(&a));
  EXPECT_EQ(Reports()[0].callback, 2);
  EXPECT_EQ(Reports()[1].callback, 2);
}

TEST_F(RunningJobs, SecondJobOfANameReplacesTheTableEntryAndBothReport) {
  Gate second;
  SetGatedInstaller(u"A", gate);
  InstallRecord first("C:\\A.exe", "A", "first");
  Start(first);
  gate.WaitForArrivals(1);
  SetGatedInstaller(u"A", second);
  InstallRecord later("C:\\A.exe", "A", "later");
  Start(later);
  second.WaitForArrivals(1);
  ASSERT_EQ(AppInstall::GetInstance().jobMap.size(), 1U);
  EXPECT_EQ(AppInstall::GetInstance().jobMap["A"], &later);
  gate.Open();
  WaitForEnds(1);
  // The job that ends first erases the entry. The erase of the other one finds nothing.
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
  second.Open();
  WaitForEnds(2);
  ASSERT_EQ(Reports().size(), 2U);
  EXPECT_EQ(Reports()[0].request, static_cast<InstallRequest*>(&first));
  EXPECT_TRUE(Reports()[0].isRegistered);
  EXPECT_EQ(Reports()[1].request, static_cast<InstallRequest*>(&later));
  EXPECT_FALSE(Reports()[1].isRegistered);
  EXPECT_STREQ(first.ErrMsg, "NULL");
  EXPECT_STREQ(later.ErrMsg, "NULL");
}

TEST_F(RunningJobs, UninstallationsReportToTheLatestCallbackToo) {
  AddGatedApp(u"A", gate);
  UninstallRecord first("A");
  UninstallRecord second("None");
  Start(first, &ReceiveUninstall);
  Start(second, &ReceiveUninstallElsewhere);
  WaitForEnds(1);
  machine.registry.WaitForWatch(KeyOf(u"A"));
  gate.Open();
  WaitForEnds(2);
  ASSERT_EQ(Reports().size(), 2U);
  EXPECT_EQ(Reports()[1].request, static_cast<UninstallRequest*>(&first));
  EXPECT_EQ(Reports()[1].callback, 2);
}

TEST_F(RunningJobs, SecondUninstallationOfANameReplacesTheTableEntryAndBothReport) {
  AddGatedApp(u"A", gate);
  UninstallRecord first("A");
  UninstallRecord later("A");
  Start(first);
  Start(later);
  gate.WaitForArrivals(2);
  ASSERT_EQ(AppUninstall::GetInstance().jobMap.size(), 1U);
  EXPECT_EQ(AppUninstall::GetInstance().jobMap["A"], &later);
  // A change may end only one of two watches that share an event. Stopping ends both.
  SetStopAppEvent();
  WaitForEnds(2);
  gate.Open();
  ASSERT_EQ(Reports().size(), 2U);
  EXPECT_TRUE(Reports()[0].isRegistered);
  EXPECT_FALSE(Reports()[1].isRegistered);
  EXPECT_STREQ(first.ErrMsg, "The app is still in registry!");
  EXPECT_STREQ(later.ErrMsg, "The app is still in registry!");
}

TEST_F(RunningJobs, FlowsHaveSeparateTablesAndCallbacks) {
  AddGatedApp(u"A", gate);
  SetGatedInstaller(u"A", gate);
  UninstallRecord uninstall("A");
  InstallRecord installation("C:\\A.exe", "A");
  Start(uninstall);
  Start(installation);
  gate.WaitForArrivals(2);
  EXPECT_EQ(AppInstall::GetInstance().jobMap.size(), 1U);
  EXPECT_EQ(AppUninstall::GetInstance().jobMap.size(), 1U);
  machine.registry.WaitForWatch(KeyOf(u"A"));
  gate.Open();
  WaitForEnds(2);
  EXPECT_EQ(Reports().size(), 2U);
}

TEST_F(RunningJobs, SixtyFourRunAtOnceAndAllReport) {
  std::vector<std::unique_ptr<InstallRecord>> installations;
  std::vector<std::unique_ptr<UninstallRecord>> uninstalls;
  for (std::size_t i = 0; i < kManyJobs / 2; ++i) {
    const std::string number = std::to_string(i);
    SetGatedInstaller(u"New" + Wide(number), gate);
    AddGatedApp(u"Old" + Wide(number), gate);
    installations.push_back(std::make_unique<InstallRecord>("C:\\New" + number + ".exe", "New" + number));
    uninstalls.push_back(std::make_unique<UninstallRecord>("Old" + number));
    Start(*installations.back());
    Start(*uninstalls.back());
  }
  gate.WaitForArrivals(kManyJobs);
  EXPECT_TRUE(Reports().empty());
  for (std::size_t i = 0; i < kManyJobs / 2; ++i)
    machine.registry.WaitForWatch(KeyOf(u"Old" + Wide(std::to_string(i))));
  gate.Open();
  WaitForEnds(kManyJobs);
  EXPECT_EQ(Reports().size(), kManyJobs);
  for (const auto& record : installations) EXPECT_STREQ(record->Result, "Success") << record->displayName;
  for (const auto& record : uninstalls) EXPECT_STREQ(record->Result, "Success") << record->displayName;
}

TEST_F(RunningJobs, StopEndsTheWaitAndNotTheInstaller) {
  SetGatedInstaller(u"A", gate);
  InstallRecord record("C:\\A.exe", "A");
  Start(record);
  gate.WaitForArrivals(1);
  SetStopAppEvent();
  WaitForEnds(1);
  EXPECT_STREQ(record.ErrMsg, "Cannot find the app from registry!");
  EXPECT_EQ(machine.programs.RunningCount(), 1U);
  gate.Open();
  machine.programs.WaitForAll();
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(RunningJobs, StopEndsTheWatchAndNotTheUninstaller) {
  AddGatedApp(u"A", gate);
  UninstallRecord record("A");
  Start(record);
  machine.registry.WaitForWatch(KeyOf(u"A"));
  SetStopAppEvent();
  WaitForEnds(1);
  EXPECT_STREQ(record.Result, "Fail");
  EXPECT_STREQ(record.ErrMsg, "The app is still in registry!");
  EXPECT_EQ(machine.programs.RunningCount(), 1U);
  gate.Open();
}

TEST_F(RunningJobs, AfterStopEveryJobStartsItsProgramAndReportsAtOnce) {
  SetStopAppEvent();
  SetStopAppEvent();
  SetGatedInstaller(u"A", gate);
  AddGatedApp(u"B", gate);
  InstallRecord installation("C:\\A.exe", "A");
  UninstallRecord uninstall("B");
  Run(installation);
  Run(uninstall);
  EXPECT_STREQ(installation.ErrMsg, "Cannot find the app from registry!");
  EXPECT_STREQ(uninstall.ErrMsg, "The app is still in registry!");
  EXPECT_EQ(machine.programs.Starts().size(), 2U);
  gate.WaitForArrivals(2);
  EXPECT_EQ(std::ranges::count(log.Messages(), "setStopAppEvent success."), 2);
  gate.Open();
}

TEST_F(RunningJobs, StopAfterTheWaitChangesNothing) {
  SetGatedInstaller(u"A", gate);
  gate.Open();
  log.When("Install success", [] { platform::SetEvent(StopEvent); });
  InstallRecord installation("C:\\A.exe", "A");
  Run(installation);
  EXPECT_TRUE(Handles::Shared().IsSignalled(*Handles::Shared().Find(StopEvent)));
  ASSERT_EQ(Reports().size(), 1U);
  EXPECT_EQ(Reports()[0].errMsg, "NULL");
  EXPECT_EQ(Reports()[0].version, "1.0");
}

TEST_F(RunningJobs, StopFromACallbackChangesNothing) {
  SetGatedInstaller(u"A", gate);
  gate.Open();
  InstallRecord installation("C:\\A.exe", "A");
  Start(installation, [](InstallRequest* request) {
    SetStopAppEvent();
    ReceiveInstall(request);
  });
  WaitForEnds(1);
  EXPECT_STREQ(installation.ErrMsg, "NULL");
  EXPECT_EQ(Reports().size(), 1U);
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
}

TEST_F(RunningJobs, InstallationsLeaveNoHandleAndUninstallationsTheirProcess) {
  constexpr std::size_t kRounds = 100;
  const Handles& handles = Handles::Shared();
  const std::size_t processes = handles.OpenCount(Waitable::Kind::Process);
  const std::size_t events = handles.OpenCount(Waitable::Kind::Event);
  gate.Open();
  SetGatedInstaller(u"A", gate);
  for (std::size_t round = 0; round < kRounds; ++round) {
    InstallRecord installation("C:\\A.exe", "A");
    Run(installation);
    ASSERT_STREQ(installation.Result, "Success");
    AddGatedApp(u"A", gate);
    UninstallRecord uninstall("A");
    Run(uninstall);
    ASSERT_STREQ(uninstall.Result, "Success");
  }
  EXPECT_EQ(handles.OpenCount(Waitable::Kind::Process), processes + kRounds);
  EXPECT_EQ(handles.OpenCount(Waitable::Kind::Event), events);
  EXPECT_EQ(machine.OpenKeys(), 0U);
}

TEST_F(RunningJobs, EveryStartPausesHalfASecond) {
  SetProgram(u"C:\\A.exe", [] { return 0; });
  InstallRecord installation("C:\\A.exe", "A");
  UninstallRecord uninstall("A");
  const std::uint64_t before = machine.clock.ElapsedMs();
  Run(installation);
  Run(uninstall);
  EXPECT_EQ(machine.clock.ElapsedMs() - before, 1000U);
}

TEST(JobResults, FillReplacesEarlierTexts) {
  ResultMap info{{"DisplayName", "found"}, {"DisplayVersion", "1"}, {"Result", "x"}};
  FillResultMap(info, "Fail", "why", "asked");
  EXPECT_THAT(info, testing::UnorderedElementsAre(
                        testing::Pair("DisplayName", "asked"), testing::Pair("DisplayVersion", "1"),
                        testing::Pair("Result", "Fail"), testing::Pair("ErrMsg", "why")));
}

}  // namespace
}  // namespace kestrelbay

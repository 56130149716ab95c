// Starting a job: the state when its worker starts, the lock, and the state after a start that failed.
#include <gmock/gmock.h>

#include <mutex>
#include <system_error>
#include <thread>

#include "base/LoadTimeObjects.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobTest.h"
#include "lifecycle/LockCalls.h"
#include "support/NoThreads.h"

namespace kestrelbay {
namespace {

/** @return whether another thread could start a job now. Called by one program at a time, because it takes
 * the lock.
 */
bool IsLockFree() {
  static std::mutex oneAtATime;
  const std::lock_guard guard(oneAtATime);
  bool isFree = false;
  std::thread([&] {
    isFree = LifecycleMutex.try_lock();
    if (isFree) LifecycleMutex.unlock();
  }).join();
  return isFree;
}

class JobStarts : public JobTest {
 protected:
  InstallRecord installation{"", "A"};
  UninstallRecord uninstall{"A"};
};

TEST_F(JobStarts, InstallationIsRegisteredWithItsCallbackBeforeItsWorkerStarts) {
  const AppInstall& flow = AppInstall::GetInstance();
  bool isInPlace = false;
  log.When("StartInstall begin.",
           [&] { isInPlace = flow.jobMap.at("A") == &installation && flow.jobCallback == &ReceiveInstall; });
  Run(installation);
  EXPECT_TRUE(isInPlace);
}

TEST_F(JobStarts, UninstallationIsRegisteredWithItsCallbackBeforeItsWorkerStarts) {
  const AppUninstall& flow = AppUninstall::GetInstance();
  bool isInPlace = false;
  log.When("StartUninstall begin",
           [&] { isInPlace = flow.jobMap.at("A") == &uninstall && flow.jobCallback == &ReceiveUninstall; });
  Run(uninstall);
  EXPECT_TRUE(isInPlace);
}

TEST_F(JobStarts, LockIsHeldWhileAWorkerStartsAndFreeAfterwards) {
  std::vector<bool> freeAtTheStarts;
  log.When("Start", [&] { freeAtTheStarts.push_back(IsLockFree()); });
  Run(installation);
  EXPECT_TRUE(IsLockFree());
  Run(uninstall);
  EXPECT_TRUE(IsLockFree());
  EXPECT_EQ(freeAtTheStarts, std::vector<bool>({false, false}));
}

// Taken once and released once, so it is held the whole time: before the pause, and until the worker has
// started, which the test above checks.
TEST_F(JobStarts, LockIsHeldFromThePauseUntilTheWorkerHasStarted) {
  std::vector<std::uint64_t> takenAtMs;
  std::vector<std::uint64_t> releasedAtMs;
  std::size_t registered = 0;
  {
    const LockWatch watch(
        LifecycleMutex,
        [&] {
          takenAtMs.push_back(machine.clock.ElapsedMs());
          registered += AppInstall::GetInstance().jobMap.size() + AppUninstall::GetInstance().jobMap.size();
        },
        [&] { releasedAtMs.push_back(machine.clock.ElapsedMs()); });
    Run(installation);
    Run(uninstall);
  }
  EXPECT_EQ(takenAtMs, std::vector<std::uint64_t>({0, 500}));
  EXPECT_EQ(releasedAtMs, std::vector<std::uint64_t>({500, 1000}));
  EXPECT_EQ(registered, 0U) << "ahead of the lock";
}

TEST_F(JobStarts, LockIsFreeWhileTheJobsRun) {
  Gate startsAreOver;
  SetProgram(u"C:\\A.exe", [&] {
    startsAreOver.Pass();
    EXPECT_TRUE(IsLockFree());
    return 0;
  });
  AddApp(u"A", u"1.0", u"C:\\un.exe");
  SetProgram(u"C:\\un.exe", [&] {
    startsAreOver.Pass();
    EXPECT_TRUE(IsLockFree());
    RemoveApp(u"A");
    return 0;
  });
  InstallRecord update("C:\\A.exe", "A");
  Start(update);
  Start(uninstall);
  startsAreOver.WaitForArrivals(2);
  startsAreOver.Open();
  WaitForEnds(2);
  EXPECT_STREQ(uninstall.Result, "Success");
}

std::function<void()> duringTheCallback;

TEST_F(JobStarts, AnotherThreadStartsAnUninstallationDuringACallback) {
  Gate startIsOver;
  bool isFree = false;
  duringTheCallback = [&] {
    startIsOver.Pass();
    isFree = IsLockFree();
    if (isFree) std::thread([&] { Start(uninstall); }).join();
  };
  Start(installation, [](InstallRequest* request) {
    duringTheCallback();
    ReceiveInstall(request);
  });
  startIsOver.Open();
  WaitForEnds(1);
  EXPECT_TRUE(isFree);
  WaitForEnds(isFree ? 2 : 1);
}

TEST_F(JobStarts, AnotherThreadStartsAnInstallationDuringACallback) {
  Gate startIsOver;
  bool isFree = false;
  duringTheCallback = [&] {
    startIsOver.Pass();
    isFree = IsLockFree();
    if (isFree) std::thread([&] { Start(installation); }).join();
  };
  Start(uninstall, [](UninstallRequest* request) {
    duringTheCallback();
    ReceiveUninstall(request);
  });
  startIsOver.Open();
  WaitForEnds(1);
  EXPECT_TRUE(isFree);
  WaitForEnds(isFree ? 2 : 1);
}

TEST_F(JobStarts, WorkerIsDetachedAtOnce) {
  Run(installation);
  Run(uninstall);
  EXPECT_FALSE(AppInstall::GetInstance().workerThread.joinable());
  EXPECT_FALSE(AppUninstall::GetInstance().workerThread.joinable());
}

TEST_F(JobStarts, InstallationWithoutAThreadThrowsAndStaysRegistered) {
  {
    const NoThreads none;
    EXPECT_THROW(Install(&installation, &ReceiveInstall), std::system_error);
  }
  EXPECT_EQ(AppInstall::GetInstance().jobMap.at("A"), &installation);
  EXPECT_TRUE(IsLockFree());
  EXPECT_EQ(log.Messages(), std::vector<std::string>{"StartInstall begin."});
  // The next job of the name replaces the entry.
  Run(installation);
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(JobStarts, UninstallationWithoutAThreadThrowsAndStaysRegistered) {
  {
    const NoThreads none;
    EXPECT_THROW(Uninstall(&uninstall, &ReceiveUninstall), std::system_error);
  }
  EXPECT_EQ(AppUninstall::GetInstance().jobMap.at("A"), &uninstall);
  EXPECT_TRUE(IsLockFree());
  EXPECT_EQ(log.Messages(), std::vector<std::string>{"StartUninstall begin, displayName: A."});
  Run(uninstall);
  EXPECT_EQ(Reports().size(), 1U);
}

TEST_F(JobStarts, LookUpOfAnErasedJobAddsANullRequest) {
  AppInstall& flow = AppInstall::GetInstance();
  EXPECT_EQ(UnlockedJobs<AppInstall>::FindRequest(flow, "gone"), nullptr);
  ASSERT_EQ(flow.jobMap.size(), 1U);
  EXPECT_EQ(flow.jobMap.at("gone"), nullptr);
  UnlockedJobs<AppInstall>::Erase(flow, "gone");
  UnlockedJobs<AppInstall>::Erase(flow, "gone");
}

using JobStartsDeathTest = JobStarts;

TEST_F(JobStartsDeathTest, NullRequestCrashes) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(Install(nullptr, nullptr), "");
  EXPECT_DEATH(Uninstall(nullptr, nullptr), "");
}

TEST_F(JobStartsDeathTest, WorkerOfAnErasedJobReadsTheNullRequest) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto startAndWait = [this](auto start) {
    start();
    WaitForEnds(1);  // never happens
  };
  const auto isNoDeadline = testing::Not(testing::HasSubstr("in vain"));
  EXPECT_DEATH(startAndWait([] { AppInstall::GetInstance().StartInstall("gone"); }), isNoDeadline);
  EXPECT_DEATH(startAndWait([] { AppUninstall::GetInstance().StartUninstall("gone"); }), isNoDeadline);
}

}  // namespace
}  // namespace kestrelbay

// The races that the interface keeps on purpose, each taken in turns so that it does no harm. The thread
// sanitizer reports them all the same, so its list of suppressions has to name them, and need name no others.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "frame/SDKLog.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"

namespace kestrelbay {
namespace {

/** Does `theirs` on another thread and then `ours` on this one, without anything that orders the two. */
void InTurns(const std::function<void()>& theirs, const std::function<void()>& ours) {
  std::atomic<bool> isDone = false;
  std::thread other([&] {
    theirs();
    isDone.store(true, std::memory_order_relaxed);
  });
  while (!isDone.load(std::memory_order_relaxed)) std::this_thread::yield();
  ours();
  other.join();
}

template <class Request>
void Ignore(Request*) {}

template <class Flow, class Request>
class KeptRaces : public testing::Test {
 protected:
  using Jobs = UnlockedJobs<Flow>;

  KeptRaces() { flow.jobMap["A"] = &request; }
  ~KeptRaces() override { flow.jobMap.clear(); }

  void LookUpWhileAStartRegisters() {
    Request* found = nullptr;
    InTurns([&] { found = Jobs::FindRequest(flow, "A"); }, [&] { flow.jobMap["B"] = &request; });
    EXPECT_EQ(found, &request);
  }
  void ReadTheCallbackWhileAStartReplacesIt() {
    flow.jobCallback = &Ignore<Request>;
    bool isFound = false;
    InTurns([&] { isFound = Jobs::FindCallback(flow) == &Ignore<Request>; },
            [&] { flow.jobCallback = nullptr; });
    EXPECT_TRUE(isFound);
  }
  void EraseWhileAStartRegisters() {
    InTurns([&] { Jobs::Erase(flow, "A"); }, [&] { flow.jobMap["B"] = &request; });
    EXPECT_FALSE(flow.jobMap.contains("A"));
  }

  Flow& flow = Flow::GetInstance();
  Request request{};
};

using KeptInstallRaces = KeptRaces<AppInstall, InstallRequest>;
using KeptUninstallRaces = KeptRaces<AppUninstall, UninstallRequest>;

TEST_F(KeptInstallRaces, WorkerLooksItsRequestUpWhileAStartRegisters) { LookUpWhileAStartRegisters(); }
TEST_F(KeptInstallRaces, WorkerReadsTheCallbackWhileAStartReplacesIt) {
  ReadTheCallbackWhileAStartReplacesIt();
}
TEST_F(KeptInstallRaces, WorkerErasesItsJobWhileAStartRegisters) { EraseWhileAStartRegisters(); }

TEST_F(KeptUninstallRaces, WorkerLooksItsRequestUpWhileAStartRegisters) { LookUpWhileAStartRegisters(); }
TEST_F(KeptUninstallRaces, WorkerReadsTheCallbackWhileAStartReplacesIt) {
  ReadTheCallbackWhileAStartReplacesIt();
}
TEST_F(KeptUninstallRaces, WorkerErasesItsJobWhileAStartRegisters) { EraseWhileAStartRegisters(); }

void Drop(const char*, std::int32_t, const char*) {}

TEST(KeptLoggerRace, LoggerIsChangedWithoutItsLock) {
  InitDllLogger(&Drop);
  InTurns([] { SDKLog::GetInstance().Log(kLogInfo, "F", "G", 1, "m"); }, [] { InitDllLogger(&Drop); });
  EXPECT_FALSE(SDKLog::GetInstance().useLogDll);
}

}  // namespace
}  // namespace kestrelbay

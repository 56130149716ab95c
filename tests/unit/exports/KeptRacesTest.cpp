// The data races that the interface keeps by design, in turns so that they do no harm. The thread sanitizer
// still reports each of them, so its suppressions must name these and no others. Counting the locks shows
// that none is taken.
#include <gtest/gtest.h>

#include <utility>

#include "base/SDKLog.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/LockCalls.h"
#include "support/InTurns.h"

namespace kestrelbay {
namespace {

/** @return how many locks this thread takes to do it */
template <class Action>
std::size_t LocksOf(Action action) {
  const std::size_t before = LocksTaken();
  action();
  return LocksTaken() - before;
}

template <class Request>
void Ignore(Request*) {}

/** A flow and its request: `std::pair<Flow, Request>`. */
template <class FlowAndRequest>
class KeptRaces : public testing::Test {
 protected:
  using Flow = typename FlowAndRequest::first_type;
  using Request = typename FlowAndRequest::second_type;

  KeptRaces() { flow.jobMap["A"] = &request; }
  ~KeptRaces() override { flow.jobMap.clear(); }

  Flow& flow = Flow::GetInstance();
  Request request{};
};

using BothFlows =
    testing::Types<std::pair<AppInstall, InstallRequest>, std::pair<AppUninstall, UninstallRequest>>;
TYPED_TEST_SUITE(KeptRaces, BothFlows);

TYPED_TEST(KeptRaces, WorkerLooksItsRequestUpWhileAStartRegisters) {
  using Jobs = UnlockedJobs<typename TestFixture::Flow>;
  typename TestFixture::Request* found = nullptr;
  std::size_t locks = 1;
  InTurns([&] { locks = LocksOf([&] { found = Jobs::FindRequest(this->flow, "A"); }); },
          [&] { this->flow.jobMap["B"] = &this->request; });
  EXPECT_EQ(found, &this->request);
  EXPECT_EQ(locks, 0U);
}

TYPED_TEST(KeptRaces, WorkerReadsTheCallbackWhileAStartReplacesIt) {
  using Jobs = UnlockedJobs<typename TestFixture::Flow>;
  constexpr auto kCallback = &Ignore<typename TestFixture::Request>;
  this->flow.jobCallback = kCallback;
  bool isFound = false;
  std::size_t locks = 1;
  InTurns([&] { locks = LocksOf([&] { isFound = Jobs::FindCallback(this->flow) == kCallback; }); },
          [&] { this->flow.jobCallback = nullptr; });
  EXPECT_TRUE(isFound);
  EXPECT_EQ(locks, 0U);
}

TYPED_TEST(KeptRaces, WorkerErasesItsJobWhileAStartRegisters) {
  using Jobs = UnlockedJobs<typename TestFixture::Flow>;
  std::size_t locks = 1;
  InTurns([&] { locks = LocksOf([&] { Jobs::Erase(this->flow, "A"); }); },
          [&] { this->flow.jobMap["B"] = &this->request; });
  EXPECT_FALSE(this->flow.jobMap.contains("A"));
  EXPECT_EQ(locks, 0U);
}

void Drop(const char*, std::int32_t, const char*) {}

TEST(KeptLoggerRace, LoggerIsChangedWithoutItsLock) {
  InitDllLogger(&Drop);
  std::size_t locks = 0;
  InTurns([] { SDKLog::GetInstance().Log(kLogInfo, "F", "G", 1, "m"); },
          [&] { locks = LocksOf([] { InitDllLogger(&Drop); }); });
  EXPECT_FALSE(SDKLog::GetInstance().useLogDll);
  EXPECT_EQ(locks, 1U) << "that of its one record";
}

}  // namespace
}  // namespace kestrelbay

#include "base/Worker.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <latch>
#include <memory>
#include <vector>

#include "lifecycle/LockCalls.h"

namespace kestrelbay {
namespace {

template <class Body>
void Start(Body body) {
  std::thread worker;
  StartWorker(worker, std::move(body));
}

TEST(StartWorker, WorkerIsDetached) {
  std::thread worker;
  StartWorker(worker, [] {});
  EXPECT_FALSE(worker.joinable());
}

/** Whether this thread is detached. */
bool IsDetached() {
  pthread_attr_t attributes;
  int state = PTHREAD_CREATE_JOINABLE;
  pthread_getattr_np(pthread_self(), &attributes);
  pthread_attr_getdetachstate(&attributes, &state);
  pthread_attr_destroy(&attributes);
  return state == PTHREAD_CREATE_DETACHED;
}

TEST(StartWorker, BodyRunsOnlyAfterItsThreadWasDetached) {
  constexpr int kStarts = 200;
  std::latch done(kStarts);
  std::atomic<int> early = 0;
  for (int start = 0; start < kStarts; ++start) {
    Start([&] {
      early += !IsDetached();
      done.count_down();
    });
  }
  done.wait();
  EXPECT_EQ(early, 0);
}

TEST(Handshake, SignalHoldsItsLock) {
  Handshake handshake;
  const std::size_t before = LocksTaken();
  handshake.Signal();
  EXPECT_EQ(LocksTaken() - before, 1U);
}

TEST(StartWorker, ReturnsWhileTheBodyStillRuns) {
  std::latch release(1);
  std::latch done(1);
  // If the starter waited for the body, it would never release it.
  Start([&] {
    release.wait();
    done.count_down();
  });
  EXPECT_FALSE(done.try_wait());
  release.count_down();
  done.wait();
}

TEST(StartWorker, RunsOnANewThread) {
  std::thread::id ran;
  std::latch done(1);
  Start([&] {
    ran = std::this_thread::get_id();
    done.count_down();
  });
  done.wait();
  EXPECT_NE(ran, std::thread::id());
  EXPECT_NE(ran, std::this_thread::get_id());
}

/** A body that reports when the worker has moved it, and moves slowly. */
struct SlowToMove {
  SlowToMove(std::thread::id starterOfIt, std::atomic<bool>& flag) : starter(starterOfIt), moved(flag) {}
  SlowToMove(SlowToMove&& other) : starter(other.starter), moved(other.moved) {
    if (std::this_thread::get_id() == starter) return;
    for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
    moved = true;
  }

  void operator()() const {}

  std::thread::id starter;
  std::atomic<bool>& moved;
};

TEST(StartWorker, ReturnsOnlyAfterTheBodyWasMoved) {
  std::atomic<bool> moved = false;
  Start(SlowToMove(std::this_thread::get_id(), moved));
  EXPECT_TRUE(moved);
}

TEST(StartWorker, ThreadOwnsItsArgumentsOnceItHasTakenThem) {
  std::latch starterIsBack(1);
  std::promise<int> seen;
  auto argument = std::make_shared<int>(7);
  const std::weak_ptr<int> watched = argument;
  Start([&, own = std::move(argument)] {
    starterIsBack.wait();
    seen.set_value_at_thread_exit(*own);
  });
  EXPECT_EQ(watched.use_count(), 1);
  starterIsBack.count_down();
  EXPECT_EQ(seen.get_future().get(), 7);
  EXPECT_TRUE(watched.expired());
}

// Neither is inlined, so that their frames use the same stack.
[[gnu::noinline]] void StartBriefWorker(std::latch& done) {
  Start([&] { done.count_down(); });
}
[[gnu::noinline]] void OverwriteStack() {
  volatile unsigned char bytes[4096];
  for (volatile unsigned char& byte : bytes) byte = 0xFF;
}

TEST(StartWorker, MutexIsNotDestroyedWhileTheWorkerUnlocksIt) {
  std::latch starterIsBack(1);
  std::atomic<int> unlocks = 0;
  std::atomic<bool> isIntact = false;
  const auto checkMutex = [&](const void* mutex) {
    if (++unlocks > 1) return;  // the first is that of the handshake
    starterIsBack.wait();
    const pthread_mutex_t unlocked = PTHREAD_MUTEX_INITIALIZER;
    isIntact = std::memcmp(mutex, &unlocked, sizeof unlocked) == 0;
  };
  std::latch done(1);
  const AfterUnlocks watch(checkMutex);
  StartBriefWorker(done);
  OverwriteStack();
  starterIsBack.count_down();
  done.wait();
  EXPECT_TRUE(isIntact);
}

TEST(StartWorker, HandshakeOutlivesTheStart) {
  // Many starts, so that a sanitizer sees a worker that uses the handshake after it was destroyed.
  constexpr int kStarts = 500;
  std::latch done(kStarts);
  std::vector<std::atomic<int>> runs(kStarts);
  for (int start = 0; start < kStarts; ++start) {
    Start([&, start] {
      ++runs[static_cast<std::size_t>(start)];
      done.count_down();
    });
  }
  done.wait();
  EXPECT_TRUE(std::ranges::all_of(runs, [](const std::atomic<int>& count) { return count == 1; }));
}

TEST(StartWorker, AnyNumberRunsSideBySide) {
  constexpr int kWorkers = 8;
  std::latch allRun(kWorkers);
  std::latch done(kWorkers);
  for (int worker = 0; worker < kWorkers; ++worker) {
    Start([&] {
      allRun.arrive_and_wait();
      done.count_down();
    });
  }
  done.wait();
  EXPECT_TRUE(allRun.try_wait());
}

TEST(StartWorkerDeathTest, ExceptionThatLeavesTheBodyEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Start([] { throw 1; });
        std::this_thread::sleep_for(std::chrono::minutes(1));
      },
      "terminate");
}

}  // namespace
}  // namespace kestrelbay

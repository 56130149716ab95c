/** Two actions of two threads that the thread sanitizer takes for a race, although the second waits. */
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace kestrelbay {

/** Runs `theirs` on another thread and then `ours` on this one, without a synchronisation between them. */
inline void InTurns(const std::function<void()>& theirs, const std::function<void()>& ours) {
  std::atomic<bool> isDone = false;
  std::thread other([&] {
    theirs();
    isDone.store(true, std::memory_order_relaxed);
  });
  while (!isDone.load(std::memory_order_relaxed)) std::this_thread::yield();
  ours();
  other.join();
}

}  // namespace kestrelbay

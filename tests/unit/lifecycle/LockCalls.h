/** What this program's own objects do with locks: the linker leads their calls through here. */
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>

namespace kestrelbay {

/** How many locks this thread has taken so far, whichever they were. */
std::size_t LocksTaken();

/** As long as it lives, this thread does something each time it takes or gives back that one lock. */
class WatchedLock {
 public:
  /**
   * @param taken      done when the thread has the lock
   * @param givenBack  done when the thread is about to give it back
   */
  WatchedLock(std::recursive_mutex& lock, std::function<void()> taken, std::function<void()> givenBack);
  ~WatchedLock();
  WatchedLock(const WatchedLock&) = delete;
  WatchedLock& operator=(const WatchedLock&) = delete;
};

/** While it exists, every other thread calls `action` inside each unlock, after the mutex is free. */
class AfterUnlocks {
 public:
  explicit AfterUnlocks(std::function<void(const void* mutex)> action);
  ~AfterUnlocks();
  AfterUnlocks(const AfterUnlocks&) = delete;
  AfterUnlocks& operator=(const AfterUnlocks&) = delete;

 private:
  const std::function<void(const void* mutex)> action_;
};

}  // namespace kestrelbay

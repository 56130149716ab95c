/** Observes the lock calls of this program: the linker redirects them here. */
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>

namespace kestrelbay {

/** @return the number of locks that this thread has taken so far */
std::size_t LocksTaken();

/** While it exists, this thread calls a function each time it takes or releases that lock. */
class LockWatch {
 public:
  /**
   * @param taken     called when the thread has the lock
   * @param released  called just before the thread releases it
   */
  LockWatch(std::recursive_mutex& lock, std::function<void()> taken, std::function<void()> released);
  ~LockWatch();
  LockWatch(const LockWatch&) = delete;
  LockWatch& operator=(const LockWatch&) = delete;
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

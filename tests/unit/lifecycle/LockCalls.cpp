#include "lifecycle/LockCalls.h"

#include <pthread.h>

#include <atomic>
#include <thread>
#include <utility>

namespace {

thread_local std::size_t locksTaken = 0;
thread_local const pthread_mutex_t* watched = nullptr;
thread_local std::function<void()> whenTaken;
thread_local std::function<void()> whenReleased;

std::atomic<const std::function<void(const void*)>*> afterUnlock = nullptr;
std::thread::id exempt;

}  // namespace

// NOLINTBEGIN: the linker's names. Seen from outside, since a sanitizer's library asks for them too.
extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
[[gnu::visibility("default")]] int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  ++locksTaken;
  const int result = __real_pthread_mutex_lock(mutex);
  if (mutex == watched) whenTaken();
  return result;
}

int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
[[gnu::visibility("default")]] int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  if (mutex == watched) whenReleased();
  const int result = __real_pthread_mutex_unlock(mutex);
  const auto* const action = afterUnlock.load();
  if (action && std::this_thread::get_id() != exempt) (*action)(mutex);
  return result;
}

}  // extern "C"
// NOLINTEND

namespace kestrelbay {

std::size_t LocksTaken() { return locksTaken; }

LockWatch::LockWatch(std::recursive_mutex& lock, std::function<void()> taken,
                     std::function<void()> released) {
  whenTaken = std::move(taken);
  whenReleased = std::move(released);
  watched = lock.native_handle();
}

LockWatch::~LockWatch() { watched = nullptr; }

AfterUnlocks::AfterUnlocks(std::function<void(const void* mutex)> action) : action_(std::move(action)) {
  exempt = std::this_thread::get_id();
  afterUnlock = &action_;
}

AfterUnlocks::~AfterUnlocks() { afterUnlock = nullptr; }

}  // namespace kestrelbay

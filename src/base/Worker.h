/** Starts the library's threads. */
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "base/OwningMutex.h"

namespace kestrelbay {

/** What one thread waits for and another reports. Used once. */
class Handshake {
 public:
  void Signal() {
    const std::lock_guard<std::mutex> held(mutex_);
    isSignalled_ = true;
    signalled_.notify_one();
  }
  void Wait() {
    std::unique_lock<std::mutex> held(mutex_);
    signalled_.wait(held, [this] { return isSignalled_; });
  }

 private:
  OwningMutex<std::mutex> mutex_;
  std::condition_variable signalled_;
  bool isSignalled_ = false;
};

/** The start of a worker. */
struct WorkerStart {
  Handshake taken;     ///< the worker has taken its arguments
  Handshake detached;  ///< the starter has detached the worker
};

/**
 * Runs `body` on a new, detached thread. Blocks until that thread has moved `body` to itself, not until
 * `body` returns.
 * @param worker  holds the new thread until it is detached
 * @param body    movable, called without arguments; an exception that leaves it ends the process
 * @throws std::system_error if the thread cannot be started; `body` is destroyed then
 */
template <class Body>
void StartWorker(std::thread& worker, Body body) {
  // Both threads own the start. The starter may return while the worker is still inside the runtime's unlock,
  // so neither of them may destroy a mutex alone.
  const auto start = std::make_shared<WorkerStart>();
  worker = std::thread([&body, own = start]() mutable {
    Body taken = std::move(body);
    own->taken.Signal();
    // A worker must not end before it is detached: the runtime of mingw-w64 gives the record of an ended
    // thread to the next thread when it is detached, although the first one still uses it on its way out.
    own->detached.Wait();
    own.reset();
    taken();
  });
  start->taken.Wait();
  worker.detach();
  start->detached.Signal();
}

}  // namespace kestrelbay

/** Starts the library's threads. */
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "base/OwningMutex.h"

namespace kestrelbay {

/** The report of a new thread to its starter that it has taken its arguments. Used once. */
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

/**
 * Runs `body` on a new thread. Blocks until that thread has moved `body` to itself, not until `body` returns.
 * @param body  movable, called without arguments; an exception that leaves it ends the process
 * @return the running thread, which the caller detaches
 * @throws std::system_error if the thread cannot be started; `body` is destroyed then
 */
template <class Body>
std::thread StartWorker(Body body) {
  // Both threads own the handshake. The starter may return while the worker is still inside the runtime's
  // unlock, so neither of them may destroy the mutex alone.
  const auto handshake = std::make_shared<Handshake>();
  std::thread worker([&body, own = handshake]() mutable {
    Body taken = std::move(body);
    std::exchange(own, nullptr)->Signal();
    taken();
  });
  handshake->Wait();
  return worker;
}

}  // namespace kestrelbay

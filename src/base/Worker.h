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
struct Handshake {
  void Signal() {
    const std::lock_guard<std::mutex> held(mutex);
    isSignalled = true;
    signalled.notify_one();
  }

  OwningMutex<std::mutex> mutex;
  std::condition_variable signalled;
  bool isSignalled = false;
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
  // Both threads own the handshake. The starter may return while the worker is still inside the runtime's
  // unlock, so neither of them may destroy the mutex alone.
  const auto handshake = std::make_shared<Handshake>();
  // Held until the worker is detached, so that it cannot end before. The runtime of mingw-w64 frees the
  // record of an ended thread when it is detached, although the thread still uses the record on its way out.
  std::unique_lock<std::mutex> held(handshake->mutex);
  worker = std::thread([&body, own = handshake]() mutable {
    Body taken = std::move(body);
    std::exchange(own, nullptr)->Signal();
    taken();
  });
  worker.detach();
  handshake->signalled.wait(held, [&] { return handshake->isSignalled; });
}

}  // namespace kestrelbay

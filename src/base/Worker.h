/** The one way in which the library starts a thread. */
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace kestrelbay {

/**
 * Runs `body` on a thread of its own and waits until that thread has taken it over, not until it is done.
 * @param body  movable, called without arguments; an exception that leaves it ends the process
 * @return the running thread, for the caller to detach
 * @throws std::system_error where the thread cannot be started; `body` is destroyed then
 */
template <class Body>
std::thread StartWorker(Body body) {
  std::mutex mutex;
  std::condition_variable taken;
  bool started = false;
  std::thread worker([&] {
    Body own = std::move(body);
    {
      // Signalled under the lock: the starter destroys both as soon as it can take it.
      const std::lock_guard held(mutex);
      started = true;
      taken.notify_one();
    }
    own();
  });
  std::unique_lock held(mutex);
  taken.wait(held, [&] { return started; });
  return worker;
}

}  // namespace kestrelbay

/**
 * Records the calls of port operations, in the order in which they returned. For tests; off until Start.
 * Thread-safe.
 */
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace simulated {

/**
 * One call. All texts are UTF-8. In `arguments` a text is in double quotes, a null pointer is "null", a key
 * is its whole path, flags and masks are hexadecimal with 0x, and other numbers are decimal.
 */
struct JournalCall {
  std::string name;
  std::string arguments;
  std::string result;
  std::thread::id thread;
};

class Journal {
 public:
  /** Drops all calls recorded before, and records from now on. */
  void Start();
  void Stop();
  bool Running() const { return running_.load(std::memory_order_relaxed); }

  /** The calls since the last Start. */
  std::vector<JournalCall> Calls() const;
  void Record(JournalCall call);

 private:
  std::atomic<bool> running_ = false;
  mutable std::mutex lock_;
  std::vector<JournalCall> calls_;
};

}  // namespace simulated

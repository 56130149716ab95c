/**
 * The calls of port operations that a machine received, in the order in which they returned.
 *
 * Off until Start, and then nearly free. Safe for any number of threads.
 */
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace simulated {

/**
 * One call. Texts are UTF-8: a text argument stands in double quotes and "null" for a null pointer, a key is
 * told by its whole path, flags and masks are hexadecimal with 0x, other numbers decimal.
 */
struct JournalCall {
  std::string name;
  std::string arguments;
  std::string result;
  std::thread::id thread;
};

class Journal {
 public:
  /** Records from now on, forgetting what was recorded before. */
  void Start();
  void Stop();
  bool Running() const { return running_.load(std::memory_order_relaxed); }

  /** What was recorded since the latest Start. */
  std::vector<JournalCall> Calls() const;
  void Record(JournalCall call);

 private:
  std::atomic<bool> running_ = false;
  mutable std::mutex lock_;
  std::vector<JournalCall> calls_;
};

}  // namespace simulated

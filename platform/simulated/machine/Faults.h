/**
 * Makes the n-th call of a port operation fail, for tests. The operation then returns what it returns on a
 * Windows that lacks memory or refuses the call. Thread-safe.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

namespace simulated {

class Faults {
 public:
  enum class Extent { Once, Onwards };

  /**
   * Makes a call fail. Calls are counted from now on.
   * @param n           1 for the next call that counts
   * @param extent      this call only, or this and all later calls
   * @param operations  Windows names of the operations whose calls count, separated by blanks; empty for all
   */
  void FailNth(std::size_t n, Extent extent = Extent::Once, std::string_view operations = {});
  /** From now on no call fails. The result of Fired stays. */
  void Clear();
  /** Whether a call has failed since the latest FailNth. */
  bool Fired() const;

  /** Whether this and all later calls may fail: an endless loop of failures must be prevented. */
  bool Lasting() const { return Armed() && lasting_.load(std::memory_order_relaxed); }

  bool Armed() const { return armed_.load(std::memory_order_relaxed); }
  /** Counts a call. @return whether it must fail */
  bool Hits(std::string_view operation);

 private:
  std::atomic<bool> armed_ = false;
  mutable std::mutex lock_;
  std::size_t remaining_ = 0;
  std::atomic<bool> lasting_ = false;
  /** Each name has a blank before and behind it, so that a search finds whole names only. */
  std::string operations_;
  bool fired_ = false;
};

}  // namespace simulated

/**
 * Failures on demand: the n-th call of a port operation fails, as it would fail on a machine in trouble.
 *
 * Calls are counted from FailNth on. Safe for any number of threads; without a fault set it costs next to
 * nothing.
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
   * Makes a call fail.
   * @param n           1 for the next call that counts
   * @param extent      that call alone, or that one and all after it
   * @param operations  the Windows names of the operations whose calls count, a blank between; empty for all
   */
  void FailNth(std::size_t n, Extent extent = Extent::Once, std::string_view operations = {});
  /** No call fails any more. What Fired answers stays. */
  void Clear();
  /** Whether a call has failed since the latest FailNth. */
  bool Fired() const;

  /** Whether all calls from some call on fail. */
  bool Lasting() const { return Armed() && lasting_.load(std::memory_order_relaxed); }

  bool Armed() const { return armed_.load(std::memory_order_relaxed); }
  /** Counts a call. @return whether it has to fail */
  bool Hits(std::string_view operation);

 private:
  std::atomic<bool> armed_ = false;
  mutable std::mutex lock_;
  std::size_t remaining_ = 0;
  std::atomic<bool> lasting_ = false;
  /** Each with a blank before and behind it. */
  std::string operations_;
  bool fired_ = false;
};

}  // namespace simulated

/** The clock of a simulated machine: the real time, or a simulated time for tests. Thread-safe. */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace simulated {

class Clock {
 public:
  /** FILETIME of 2024-01-01 00:00 UTC. */
  static constexpr std::uint64_t kDefaultStart = 133485408000000000;

  /**
   * From now on only Sleep and Advance move the time.
   * @param fileTime  time of day at the start, a FILETIME
   */
  void UseSimulatedTime(std::uint64_t fileTime = kDefaultStart);
  bool HasSimulatedTime() const;

  /** Time of day: 100-nanosecond steps since 1601-01-01 UTC. */
  std::uint64_t Now() const;
  /** Milliseconds since the clock was made. Monotonic. */
  std::uint64_t ElapsedMs() const;

  /** Blocks for that time. Advances a simulated time instead, and returns at once. */
  void Sleep(std::uint32_t durationMs);
  /** Advances the simulated time, and wakes the waits whose timeout depends on it. */
  void Advance(std::uint64_t durationMs);

 private:
  std::atomic<bool> isSimulated_ = false;
  std::atomic<std::uint64_t> simulatedStart_ = kDefaultStart;
  std::atomic<std::uint64_t> simulatedElapsedMs_ = 0;
  std::chrono::steady_clock::time_point made_ = std::chrono::steady_clock::now();
};

}  // namespace simulated

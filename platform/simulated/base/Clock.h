/**
 * The time of a simulated machine: the real time, or a time of its own that only Sleep and Advance move.
 *
 * Safe for any number of threads.
 */
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace simulated {

class Clock {
 public:
  /** FILETIME of 2024-01-01 00:00 UTC. */
  static constexpr std::uint64_t kDefaultStart = 133485408000000000;

  /** From now on time stands still but for Sleep and Advance; `fileTime` is the time of day it starts at. */
  void UseOwnTime(std::uint64_t fileTime = kDefaultStart);
  bool HasOwnTime() const;

  /** Time of day: 100-nanosecond steps since 1601-01-01 UTC. */
  std::uint64_t Now() const;
  /** Milliseconds of this clock since it was made, never running backwards. */
  std::uint64_t ElapsedMs() const;

  /** Lets time pass: really, or at once on the clock's own time. */
  void Sleep(std::uint32_t durationMs);
  /** Moves the clock's own time on, and wakes what waits for that. */
  void Advance(std::uint64_t durationMs);

 private:
  std::atomic<bool> own_ = false;
  std::atomic<std::uint64_t> ownStart_ = kDefaultStart;
  std::atomic<std::uint64_t> ownElapsedMs_ = 0;
  std::chrono::steady_clock::time_point made_ = std::chrono::steady_clock::now();
};

}  // namespace simulated

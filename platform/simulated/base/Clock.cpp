#include "simulated/base/Clock.h"

#include <thread>

#include "simulated/base/Handles.h"

namespace simulated {
namespace {

constexpr std::uint64_t kStepsPerMs = 10000;
constexpr std::uint64_t kUnixEpochAsFileTime = 116444736000000000;

}  // namespace

void Clock::UseOwnTime(std::uint64_t fileTime) {
  ownStart_ = fileTime;
  ownElapsedMs_ = 0;
  own_ = true;
}

bool Clock::HasOwnTime() const { return own_; }

std::uint64_t Clock::Now() const {
  if (own_) return ownStart_ + ownElapsedMs_ * kStepsPerMs;
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
  return kUnixEpochAsFileTime + static_cast<std::uint64_t>(nanoseconds) / 100;
}

std::uint64_t Clock::ElapsedMs() const {
  if (own_) return ownElapsedMs_;
  const auto elapsed = std::chrono::steady_clock::now() - made_;
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

void Clock::Sleep(std::uint32_t durationMs) {
  if (own_) {
    Advance(durationMs);
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(durationMs));
  }
}

void Clock::Advance(std::uint64_t durationMs) {
  ownElapsedMs_ += durationMs;
  Handles::Shared().Wake();
}

}  // namespace simulated

#include "simulated/base/Clock.h"

#include <thread>

#include "simulated/base/Handles.h"

namespace simulated {
namespace {

constexpr std::uint64_t kStepsPerMs = 10000;
constexpr std::uint64_t kUnixEpochAsFileTime = 116444736000000000;

}  // namespace

void Clock::UseSimulatedTime(std::uint64_t fileTime) {
  simulatedStart_ = fileTime;
  simulatedElapsedMs_ = 0;
  isSimulated_ = true;
}

bool Clock::HasSimulatedTime() const { return isSimulated_; }

std::uint64_t Clock::Now() const {
  if (isSimulated_) return simulatedStart_ + simulatedElapsedMs_ * kStepsPerMs;
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
  return kUnixEpochAsFileTime + static_cast<std::uint64_t>(nanoseconds) / 100;
}

std::uint64_t Clock::ElapsedMs() const {
  if (isSimulated_) return simulatedElapsedMs_;
  const auto elapsed = std::chrono::steady_clock::now() - made_;
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

void Clock::Sleep(std::uint32_t durationMs) {
  if (isSimulated_) {
    Advance(durationMs);
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(durationMs));
  }
}

void Clock::Advance(std::uint64_t durationMs) {
  simulatedElapsedMs_ += durationMs;
  Handles::Shared().Wake();
}

}  // namespace simulated

#include "simulated/machine/Journal.h"

namespace simulated {

void Journal::Start() {
  const std::lock_guard guard(lock_);
  calls_.clear();
  running_ = true;
}

void Journal::Stop() { running_ = false; }

std::vector<JournalCall> Journal::Calls() const {
  const std::lock_guard guard(lock_);
  return calls_;
}

void Journal::Record(JournalCall call) {
  const std::lock_guard guard(lock_);
  if (running_) calls_.push_back(std::move(call));
}

}  // namespace simulated

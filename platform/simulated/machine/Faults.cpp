#include "simulated/machine/Faults.h"

namespace simulated {

void Faults::FailNth(std::size_t n, Extent extent, std::string_view operations) {
  const std::lock_guard guard(lock_);
  remaining_ = n;
  lasting_ = extent == Extent::Onwards;
  operations_ = operations.empty() ? "" : " " + std::string(operations) + " ";
  fired_ = false;
  armed_ = n > 0;
}

void Faults::Clear() { armed_ = false; }

bool Faults::Fired() const {
  const std::lock_guard guard(lock_);
  return fired_;
}

bool Faults::Hits(std::string_view operation) {
  if (!Armed()) return false;
  const std::lock_guard guard(lock_);
  if (!operations_.empty() && operations_.find(" " + std::string(operation) + " ") == operations_.npos)
    return false;
  if (remaining_ == 0) return lasting_;
  if (--remaining_ > 0) return false;
  fired_ = true;
  return true;
}

}  // namespace simulated

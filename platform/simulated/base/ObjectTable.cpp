#include "simulated/base/ObjectTable.h"

#include <atomic>

namespace simulated {

std::uintptr_t NewObjectHandle() {
  // Beyond the values of Handles.h, so that no handle is taken for one of another kind.
  static std::atomic<std::uintptr_t> next = 0x10000000;
  return next.fetch_add(16, std::memory_order_relaxed);
}

}  // namespace simulated

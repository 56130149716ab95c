#include "simulated/base/ObjectTable.h"

#include <atomic>

namespace simulated {

std::uintptr_t NewObjectHandle() {
  // Multiples of four, as on Windows. None is a multiple of 16: so the low half of a handle never equals that
  // of a predefined registry key (0x80000000 to 0x80000003), however many handles are opened.
  static std::atomic<std::uintptr_t> next = 0x10000008;
  return next.fetch_add(16, std::memory_order_relaxed);
}

}  // namespace simulated

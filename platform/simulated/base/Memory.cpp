#include "simulated/base/Memory.h"

#include <atomic>
#include <new>

namespace simulated {
namespace {

std::atomic<std::size_t> openAllocations = 0;

}  // namespace

void* Allocate(std::size_t bytes) {
  void* const memory = ::operator new(bytes);
  ++openAllocations;
  return memory;
}

void Deallocate(void* memory) {
  if (memory) --openAllocations;
  ::operator delete(memory);
}

std::size_t OpenAllocations() { return openAllocations; }

}  // namespace simulated

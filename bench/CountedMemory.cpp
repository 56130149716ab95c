#include "CountedMemory.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// Constant-initialised, because the first allocations happen before any constructor.
std::atomic<std::size_t> inUse = 0;
std::atomic<std::size_t> peak = 0;

void* Counted(void* block) {
  const std::size_t now = inUse += malloc_usable_size(block);
  std::size_t most = peak;
  while (now > most && !peak.compare_exchange_weak(most, now)) {
  }
  return block;
}

void Uncount(void* block) { inUse -= malloc_usable_size(block); }

}  // namespace

namespace bench {

std::size_t BytesInUse() { return inUse; }
std::size_t PeakBytes() { return peak; }
void ResetPeak() { peak = inUse.load(); }

}  // namespace bench

// A program may replace these functions; operator new calls them, too. memalign, valloc and pvalloc are not
// counted.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

__attribute__((visibility("default"))) void* malloc(std::size_t size) { return Counted(__libc_malloc(size)); }

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  return Counted(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  const std::size_t before = malloc_usable_size(block);
  void* const moved = __libc_realloc(block, size);
  if (moved || size == 0) inUse -= before;
  return Counted(moved);
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Counted(__libc_memalign(alignment, size));
}

__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) {
  void* const found = Counted(__libc_memalign(alignment, size));
  if (found) *block = found;
  return found ? 0 : ENOMEM;
}

__attribute__((visibility("default"))) void free(void* block) {
  Uncount(block);
  __libc_free(block);
}
}

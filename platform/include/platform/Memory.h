/** What a processor can be told about memory. */
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_MSC_VER)
extern "C" void _mm_prefetch(const char* address, int hint);  // an intrinsic of that compiler
#endif

namespace platform {

inline constexpr std::uintptr_t kCacheLineBytes = 64;

/**
 * Asks for memory, so that it is in the caches by the time it is looked at, without waiting for it. Changes
 * nothing else and never faults, whatever the address.
 */
inline void FetchAhead(const void* begin, std::size_t bytes) {
  const auto address = reinterpret_cast<std::uintptr_t>(begin);
  for (std::uintptr_t line = address & ~(kCacheLineBytes - 1); line < address + bytes;
       line += kCacheLineBytes) {
#if defined(_MSC_VER)
    _mm_prefetch(reinterpret_cast<const char*>(line), 1);  // into every level
#else
    __builtin_prefetch(reinterpret_cast<const void*>(line));
#endif
  }
#if defined(__GNUC__)
  // That compiler takes a function which only asks for memory for one without effect, and drops calls of it.
  __asm__ volatile("");
#endif
}

}  // namespace platform

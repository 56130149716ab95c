/** What a processor can be told about memory. */
#pragma once

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace platform {

/**
 * Asks for the cache line at an address, so that it is there when it is looked at. Changes nothing else, and
 * never faults: the address may be anything.
 */
inline void FetchCacheLine(const void* address) {
#if defined(_MSC_VER)
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
#else
  __builtin_prefetch(address);
#endif
}

}  // namespace platform

/** What this process has allocated, whichever library asked: malloc and its kin are counted. Linux only. */
#pragma once

#include <cstddef>

namespace bench {

/** Bytes as the allocator gave them, which is a little more than was asked for. */
std::size_t BytesInUse();

/** The most that was in use at once since the latest call of ResetPeak. */
std::size_t PeakBytes();
void ResetPeak();

}  // namespace bench

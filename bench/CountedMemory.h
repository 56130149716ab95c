/** The memory that this process has allocated, in any library: counts malloc and its relatives. Linux only.
 */
#pragma once

#include <cstddef>

namespace bench {

/** @return bytes as the allocator rounded them */
std::size_t BytesInUse();

/** @return the largest number of bytes in use at once since the latest call of ResetPeak */
std::size_t PeakBytes();
void ResetPeak();

}  // namespace bench

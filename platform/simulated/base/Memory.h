/** Memory blocks that port operations give to their callers. Thread-safe. */
#pragma once

#include <cstddef>

namespace simulated {

/** @return a block of at least one byte, never null, which the caller frees with Deallocate */
void* Allocate(std::size_t bytes);
/** @param memory  null is allowed */
void Deallocate(void* memory);
/** Counts the blocks that are not freed. They belong to the host's process, not to a machine. */
std::size_t OpenAllocations();

}  // namespace simulated

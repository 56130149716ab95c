/** Memory that operations of the port hand out and take back. Thread-safe. */
#pragma once

#include <cstddef>

namespace simulated {

/** @return a block of that many bytes and at least one, which Deallocate frees; never null */
void* Allocate(std::size_t bytes);
/** Null is harmless. */
void Deallocate(void* memory);
/** Blocks that nobody has given back. They belong to the host's process, whatever machine it acts on. */
std::size_t OpenAllocations();

}  // namespace simulated

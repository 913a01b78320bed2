#pragma once
// One large block of zeroed memory for the hash tables.
#include <cstddef>

namespace platform {

// A zero-filled block of at least bytes bytes, aligned to a page (so to a cache line), with every
// page touched now rather than during a search; nullptr when the system cannot supply it.
void* allocateZeroedBlock(size_t bytes);

// Gives back a block from allocateZeroedBlock of the same size; nullptr is ignored.
void releaseZeroedBlock(void* block, size_t bytes);

}  // namespace platform

#pragma once
// One large block of zeroed memory for the hash tables, and a block for the attack tables.
#include <cstddef>

namespace platform {

// A zero-filled block of at least bytes bytes, aligned to a page (so to a cache line), with every
// page touched now rather than during a search; nullptr when the system cannot supply it.
void* allocateZeroedBlock(size_t bytes);

// Gives back a block from allocateZeroedBlock of the same size; nullptr is ignored.
void releaseZeroedBlock(void* block, size_t bytes);

// A zero-filled block for a table that lives as long as the process (never given back), on Linux
// aligned to a 2 MB boundary and advised to be backed by huge pages when first written, so that a
// table read at random costs one TLB entry instead of one per 4 kB; nullptr when the system cannot
// supply it.
void* allocateTableBlock(size_t bytes);

}  // namespace platform

#pragma once
// One large block of zeroed memory for the hash tables, and huge pages for the attack tables.
#include <cstddef>

namespace platform {

// A zero-filled block of at least bytes bytes, aligned to a page (so to a cache line), with every
// page touched now rather than during a search; nullptr when the system cannot supply it.
void* allocateZeroedBlock(size_t bytes);

// Gives back a block from allocateZeroedBlock of the same size; nullptr is ignored.
void releaseZeroedBlock(void* block, size_t bytes);

// The alignment and size that let a static table sit in one huge page of its own (Linux's 2 MB
// pages); elsewhere a cache line, where the advice below does nothing.
#if defined(__linux__)
constexpr size_t HUGE_PAGE_BYTES = size_t(1) << 21;
#else
constexpr size_t HUGE_PAGE_BYTES = 64;
#endif

// Asks that a not yet touched, HUGE_PAGE_BYTES-aligned range be backed by huge pages when it is
// first written (one TLB entry instead of hundreds); a hint the system may ignore.
void adviseHugePages(void* start, size_t bytes);

}  // namespace platform

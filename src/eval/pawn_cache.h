#pragma once
// The evaluation's pawn cache: 16-byte entries in front of the transposition table in the same
// allocation. Word 1 holds the middle-game score (bits 0-15) and the end-game score (bits 16-31),
// word 0 holds pawnKey XOR word 1, so a torn entry reads as a miss. Shared by all threads, relaxed.
#include <atomic>
#include <cstdint>

#include "platform/bits.h"

namespace eval {

struct PawnCacheEntry {
  std::atomic<uint64_t> check;
  std::atomic<uint64_t> data;
};
static_assert(sizeof(PawnCacheEntry) == 16);
static_assert(std::atomic<uint64_t>::is_always_lock_free);

struct PawnCache {
  PawnCacheEntry* entries = nullptr;  // owned by the hash allocation, not by the cache
  uint64_t mask = 0;                  // entries - 1
};

extern PawnCache pawnCache;

inline bool pawnCacheProbe(const PawnCache& cache, uint64_t pawnKey, int& mg, int& eg) {
  if (!cache.entries) return false;
  const PawnCacheEntry& e = cache.entries[pawnKey & cache.mask];
  const uint64_t check = e.check.load(std::memory_order_relaxed);
  const uint64_t data = e.data.load(std::memory_order_relaxed);
  if ((check ^ data) != pawnKey) return false;
  mg = int16_t(data & 0xFFFF);
  eg = int16_t((data >> 16) & 0xFFFF);
  return true;
}

// Starts loading the entry of a pawn key into the cache (with no cache the mask is 0 and the address
// is the null entry, which prefetching never faults on).
inline void pawnCachePrefetch(const PawnCache& cache, uint64_t pawnKey) {
  platform::prefetch(cache.entries + (pawnKey & cache.mask));
}

inline void pawnCacheStore(PawnCache& cache, uint64_t pawnKey, int mg, int eg) {
  if (!cache.entries) return;
  PawnCacheEntry& e = cache.entries[pawnKey & cache.mask];
  const uint64_t data = uint64_t(uint16_t(mg)) | (uint64_t(uint16_t(eg)) << 16);
  e.check.store(pawnKey ^ data, std::memory_order_relaxed);
  e.data.store(data, std::memory_order_relaxed);
}

}  // namespace eval

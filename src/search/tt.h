#pragma once
// The transposition table shared by all search threads, and the hash allocation that holds the
// pawn cache followed by the table.
//
// TTEntry, two 64-bit words:
//   keyCheck = ((key & 0x00FFFFFFFFFFFFFF) | age) ^ data   (age stamp in the top byte)
//   data     = bound (bits 0-1) | depth (signed, bits 2-15) | score (16) | staticEval (16) | move (16)
// Mate scores are stored relative to the storing node and made relative to the root again when read.
// Words are relaxed atomics: a torn entry fails the key check and reads as a miss.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "board/make_move.h"
#include "board/position.h"
#include "board/types.h"
#include "eval/pawn_cache.h"
#include "platform/bits.h"

namespace search {

constexpr int BOUND_UPPER = 0;
constexpr int BOUND_LOWER = 1;
constexpr int BOUND_EXACT = 2;

struct TTEntry {
  std::atomic<uint64_t> keyCheck;
  std::atomic<uint64_t> data;
};
static_assert(sizeof(TTEntry) == 16);
static_assert(std::atomic<uint64_t>::is_always_lock_free && sizeof(std::atomic<uint64_t>) == 8);

struct TranspositionTable {
  TTEntry* entries = nullptr;
  uint64_t entryCount = 0;  // ttEntries: 65,536 << floor(log2(hashMb))
  uint64_t mask = 0;        // ttMask
  uint64_t age = 0;         // ttAge: current age stamp in the top byte
  void* hashMemory = nullptr;  // one block: pawn cache, then the table
  size_t hashBytes = 0;
};

extern TranspositionTable tt;

// Bits 0-55 of the key are kept in an entry; the top byte holds the age stamp.
constexpr uint64_t TT_KEY_BITS = 0x00FFFFFFFFFFFFFFULL;
constexpr uint64_t TT_AGE_STEP = uint64_t(1) << 56;

// Sizes of the hash allocation for a Hash option value (clamped to 1..65536): the table has the
// largest power of two of MiB not above hashMb, the pawn cache an eighth of its entries.
struct TTGeometry {
  uint64_t ttEntries;    // 65,536 << floor(log2(hashMb))
  uint64_t ttMask;       // ttEntries - 1
  uint64_t pawnEntries;  // ttEntries / 8
  uint64_t pawnMask;     // ttMask >> 3
  uint64_t bytes;        // (pawnEntries + ttEntries) * 16: pawn cache first, then the table
};
TTGeometry ttGeometry(int64_t hashMb);

// What a probe hit returns; score already adjusted for the probing node's ply.
struct TTHit {
  int bound;
  int depth;
  int score;
  int staticEval;
  board::PackedMove move;
};

// Sizes, releases, allocates (cache-line aligned) and zero-fills the pawn cache and the table for
// hashMb megabytes (1..65536); sets age to 0 and points pawnCache into the block. False when the
// allocation fails (the previous block is released either way).
bool ttAllocate(TranspositionTable& table, eval::PawnCache& pawnCache, int64_t hashMb);
void ttRelease(TranspositionTable& table, eval::PawnCache& pawnCache);
// Zero-fills the whole block (pawn cache and table) in place and sets age to 0, as a fresh
// allocation leaves them. Nothing to do before the first allocation.
void ttClear(TranspositionTable& table);

bool ttProbe(const TranspositionTable& table, uint64_t key, int ply, TTHit& hit);
void ttStore(TranspositionTable& table, uint64_t key, int ply, int bound, int depth, int score,
             int staticEval, board::Move move);

// Replacement tests of the storing sites.
// End of a non-PV full-width node: false when the slot holds a current-age exact entry.
bool ttMayStoreNonPv(const TranspositionTable& table, uint64_t key);
// Quiescence result: false when the slot holds a current-age entry of depth 1 or more.
bool ttMayStoreQuiescence(const TranspositionTable& table, uint64_t key);

// The slot of a key.
inline TTEntry& ttSlot(const TranspositionTable& table, uint64_t key) {
  return table.entries[key & table.mask];
}

// Starts loading the table slot of a key that the search expects to probe soon (with no table the
// mask is 0 and the address is null, which prefetching never faults on).
inline void ttPrefetchSlot(uint64_t key) { platform::prefetch(tt.entries + (key & tt.mask)); }

// Starts loading the table slot of a key and the pawn cache entry of a pawn key into the cache;
// handed to makeMove, so the memory accesses overlap the rest of the move and the child's first
// steps.
inline void ttPrefetch(uint64_t key, uint64_t pawnKey) {
  ttPrefetchSlot(key);
  eval::pawnCachePrefetch(eval::pawnCache, pawnKey);
}

// Starts loading the table slots of the children of a move list's moves as soon as the list is
// made: makeMove's own prefetch comes too late to hide a miss, while a sibling searched later finds
// its slot in the cache.
inline void ttPrefetchChildren(const board::BoardState& s, const board::ScoredMove* begin,
                               const board::ScoredMove* end) {
  for (const board::ScoredMove* p = begin; p != end; ++p) ttPrefetchSlot(board::keyAfterMove(s, p->move));
}

// Advances the age stamp by one (2^56).
void ttNewSearch(TranspositionTable& table);

// Re-stamps the exact entries along the previous principal variation with the next age (run before
// ttNewSearch). Returns the root's move of that chain as generateLegalMoves gives it (check mark
// included), or 0. Every move of the chain is checked against the legal moves before it is made, so
// a key collision ends the walk instead of corrupting the position. Leaves the position as found.
board::Move ttCarryPv(TranspositionTable& table, board::Position& pos);

// Walks the current-age exact chain from the root: writes up to maxMoves moves into pv (legal moves
// as generateLegalMoves gives them), returns the count; stops after making a move that reaches a
// position with FLAG_REPETITION, or when the position stack is full. Leaves the position as found.
int ttReadPv(const TranspositionTable& table, board::Position& pos, board::Move* pv, int maxMoves);

}  // namespace search

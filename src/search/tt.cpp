#include "search/tt.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "platform/bits.h"
#include "platform/memory.h"

namespace search {

namespace {

constexpr uint64_t MIN_HASH_MB = 1;
constexpr uint64_t MAX_HASH_MB = 65536;
constexpr uint64_t ENTRIES_PER_MB = 65536;  // 16-byte entries

// Fields of the data word.
constexpr int dataBound(uint64_t data) { return int(data & 3); }
constexpr int dataDepthBound(uint64_t data) { return int16_t(uint16_t(data & 0xFFFF)); }
constexpr int dataDepth(uint64_t data) { return dataDepthBound(data) >> 2; }  // arithmetic shift
constexpr int dataScore(uint64_t data) { return int16_t(uint16_t((data >> 16) & 0xFFFF)); }
constexpr int dataStaticEval(uint64_t data) { return int16_t(uint16_t((data >> 32) & 0xFFFF)); }
constexpr board::PackedMove dataMove(uint64_t data) { return board::PackedMove(data >> 48); }

// The age byte (top byte of key check XOR data) of whatever the slot holds, and whether it is the
// table's current age.
bool slotIsCurrent(const TranspositionTable& table, uint64_t check, uint64_t data) {
  return ((check ^ data) & ~TT_KEY_BITS) == table.age;
}

int scoreToTable(int score, int ply) {
  if (score > board::MATE_BOUND) return score + ply;
  if (score < -board::MATE_BOUND) return score - ply;
  return score;
}

int scoreFromTable(int score, int ply) {
  if (score > board::MATE_BOUND) return score - ply;
  if (score < -board::MATE_BOUND) return score + ply;
  return score;
}

// The current-age exact entry of the position's key with a move, as the legal move it stands for;
// 0 when the slot holds none or its move is not legal here (a key collision).
board::Move exactChainMove(const TranspositionTable& table, board::Position& pos, uint64_t& check,
                           uint64_t& data) {
  const uint64_t key = board::currentState(pos).key;
  const TTEntry& slot = ttSlot(table, key);
  check = slot.keyCheck.load(std::memory_order_relaxed);
  data = slot.data.load(std::memory_order_relaxed);
  if ((check ^ data) != ((key & TT_KEY_BITS) | table.age)) return 0;
  if (dataBound(data) != BOUND_EXACT || dataMove(data) == 0) return 0;
  const board::Move wanted = board::withoutCheck(board::unpackMove(pos, dataMove(data)));
  board::Move legal[board::MAX_MOVES];
  const board::Move* end = board::generateLegalMoves(pos, legal);
  for (const board::Move* m = legal; m != end; ++m)
    if (board::withoutCheck(*m) == wanted) return *m;
  return 0;
}

// Room for one more record on the position stack.
bool stackHasRoom(const board::Position& pos) { return board::stackIndex(pos) < board::MAX_STATES - 1; }

}  // namespace

TTGeometry ttGeometry(int64_t hashMb) {
  const uint64_t mb = uint64_t(std::clamp<int64_t>(hashMb, int64_t(MIN_HASH_MB), int64_t(MAX_HASH_MB)));
  TTGeometry g{};
  g.ttEntries = ENTRIES_PER_MB << platform::floorLog2(mb);
  g.ttMask = g.ttEntries - 1;
  g.pawnEntries = g.ttEntries / 8;
  g.pawnMask = g.ttMask >> 3;
  g.bytes = (g.pawnEntries + g.ttEntries) * sizeof(TTEntry);
  return g;
}

void ttRelease(TranspositionTable& table, eval::PawnCache& pawnCache) {
  // The entries hold only trivially destructible atomics: the block is simply given back.
  platform::releaseZeroedBlock(table.hashMemory, table.hashBytes);
  table.hashMemory = nullptr;
  table.hashBytes = 0;
  table.entries = nullptr;
  table.entryCount = 0;
  table.mask = 0;
  pawnCache.entries = nullptr;
  pawnCache.mask = 0;
}

void ttClear(TranspositionTable& table) {
  if (table.hashMemory) std::memset(table.hashMemory, 0, table.hashBytes);
  table.age = 0;
}

bool ttAllocate(TranspositionTable& table, eval::PawnCache& pawnCache, int64_t hashMb) {
  const TTGeometry g = ttGeometry(hashMb);
  ttRelease(table, pawnCache);
  table.age = 0;
  if (g.bytes > SIZE_MAX / 2) return false;
  void* block = platform::allocateZeroedBlock(size_t(g.bytes));
  if (!block) return false;
  // The entries are lock-free 64-bit atomics whose zero bytes are the zero value: the zeroed block
  // holds the pawn cache and then the table as they are.
  auto* pawnEntries = static_cast<eval::PawnCacheEntry*>(block);
  auto* ttEntries = reinterpret_cast<TTEntry*>(pawnEntries + g.pawnEntries);
  table.hashMemory = block;
  table.hashBytes = size_t(g.bytes);
  table.entries = ttEntries;
  table.entryCount = g.ttEntries;
  table.mask = g.ttMask;
  pawnCache.entries = pawnEntries;
  pawnCache.mask = g.pawnMask;
  return true;
}

bool ttProbe(const TranspositionTable& table, uint64_t key, int ply, TTHit& hit) {
  const TTEntry& slot = ttSlot(table, key);
  const uint64_t check = slot.keyCheck.load(std::memory_order_relaxed);
  const uint64_t data = slot.data.load(std::memory_order_relaxed);
  if ((check ^ data) != ((key & TT_KEY_BITS) | table.age)) return false;
  hit.bound = dataBound(data);
  hit.depth = dataDepth(data);
  hit.score = scoreFromTable(dataScore(data), ply);
  hit.staticEval = dataStaticEval(data);
  hit.move = dataMove(data);
  return true;
}

void ttStore(TranspositionTable& table, uint64_t key, int ply, int bound, int depth, int score,
             int staticEval, board::Move move) {
  const uint64_t data = uint64_t(uint16_t(depth * 4 + bound)) |
                        (uint64_t(uint16_t(scoreToTable(score, ply))) << 16) |
                        (uint64_t(uint16_t(staticEval)) << 32) |
                        (uint64_t(move ? board::packMove(move) : 0) << 48);
  TTEntry& slot = ttSlot(table, key);
  slot.keyCheck.store(((key & TT_KEY_BITS) | table.age) ^ data, std::memory_order_relaxed);
  slot.data.store(data, std::memory_order_relaxed);
}

bool ttMayStoreNonPv(const TranspositionTable& table, uint64_t key) {
  const TTEntry& slot = ttSlot(table, key);
  const uint64_t check = slot.keyCheck.load(std::memory_order_relaxed);
  const uint64_t data = slot.data.load(std::memory_order_relaxed);
  return !(slotIsCurrent(table, check, data) && dataBound(data) == BOUND_EXACT);
}

bool ttMayStoreQuiescence(const TranspositionTable& table, uint64_t key) {
  const TTEntry& slot = ttSlot(table, key);
  const uint64_t check = slot.keyCheck.load(std::memory_order_relaxed);
  const uint64_t data = slot.data.load(std::memory_order_relaxed);
  return !(slotIsCurrent(table, check, data) && dataDepthBound(data) > 3);
}

void ttNewSearch(TranspositionTable& table) { table.age += TT_AGE_STEP; }

board::Move ttCarryPv(TranspositionTable& table, board::Position& pos) {
  board::Move rootMove = 0;
  int made = 0;
  for (;;) {
    uint64_t check = 0;
    uint64_t data = 0;
    const board::Move move = exactChainMove(table, pos, check, data);
    if (!move) break;
    // Same data, key check re-folded with the next age stamp.
    ttSlot(table, board::currentState(pos).key)
        .keyCheck.store(((check ^ data) + TT_AGE_STEP) ^ data, std::memory_order_relaxed);
    if (made == 0) rootMove = move;
    if (!stackHasRoom(pos)) break;
    board::makeMove(pos, move);
    ++made;
    if (board::currentState(pos).flags & board::FLAG_REPETITION) break;
  }
  while (made-- > 0) board::unmakeMove(pos);
  return rootMove;
}

int ttReadPv(const TranspositionTable& table, board::Position& pos, board::Move* pv, int maxMoves) {
  int count = 0;
  while (count < maxMoves && stackHasRoom(pos)) {
    uint64_t check = 0;
    uint64_t data = 0;
    const board::Move move = exactChainMove(table, pos, check, data);
    if (!move) break;
    pv[count++] = move;
    board::makeMove(pos, move);
    if (board::currentState(pos).flags & board::FLAG_REPETITION) break;
  }
  for (int i = 0; i < count; ++i) board::unmakeMove(pos);
  return count;
}

}  // namespace search

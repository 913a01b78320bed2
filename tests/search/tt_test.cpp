// The transposition table: geometry, layout of the hash block, entry packing, mate adjustment, the
// replacement tests, ageing and the principal-variation walks.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "eval/pawn_cache.h"
#include "search/tt.h"
#include "support/memory.h"

namespace {

using namespace search;

// A small table of its own (Hash 1) for each test, released at the end.
class TTFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(ttAllocate(table, cache, 1));
    ttNewSearch(table);  // a search is running: age 1
  }
  void TearDown() override { ttRelease(table, cache); }

  TranspositionTable table;
  eval::PawnCache cache;
};

TEST(TTGeometryTest, SizesFollowTheLargestPowerOfTwoOfMegabytes) {
  struct Case {
    int64_t hashMb;
    uint64_t ttEntries;
  };
  const Case cases[] = {
      {1, 65536},
      {1000, 65536ull << 9},  // a 512 MiB table
      {1024, 65536ull << 10},
      {65536, 65536ull << 16},   // 2^32 entries
      {0, 65536},                // out of range: clamped
      {1 << 20, 65536ull << 16},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.hashMb);
    const TTGeometry g = ttGeometry(c.hashMb);
    EXPECT_EQ(g.ttEntries, c.ttEntries);
    EXPECT_EQ(g.pawnEntries, c.ttEntries / 8);
    EXPECT_EQ(g.pawnMask, c.ttEntries / 8 - 1);
    EXPECT_EQ(g.bytes, (c.ttEntries + c.ttEntries / 8) * 16);
  }
}

// The pawn cache, then the table, in one aligned block that every allocation hands back zeroed.
TEST(TTAllocateTest, PawnCacheThenTableInOneZeroedAlignedBlock) {
  TranspositionTable table;
  eval::PawnCache cache;
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(ttAllocate(table, cache, 3));  // 2 MiB of table, 256 KiB of pawn cache
    const TTGeometry g = ttGeometry(3);
    EXPECT_EQ(table.mask, g.ttMask);
    EXPECT_EQ(table.age, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.hashMemory) % 64, 0u);
    EXPECT_EQ(static_cast<void*>(cache.entries), table.hashMemory);
    EXPECT_EQ(cache.mask, g.pawnMask);
    EXPECT_EQ(reinterpret_cast<char*>(table.entries), static_cast<char*>(table.hashMemory) + g.pawnEntries * 16);
    EXPECT_TRUE(testsupport::allZero(table.hashMemory, g.bytes));
    ttNewSearch(table);
    for (uint64_t k = 0; k < 5000; ++k) {
      ttStore(table, k * 0x9E3779B97F4A7C15ULL, 0, BOUND_EXACT, 3, 17, 5, 0);
      eval::pawnCacheStore(cache, k * 0x9E3779B97F4A7C15ULL, 11, -12);
    }
  }
  ttRelease(table, cache);
  EXPECT_EQ(table.entries, nullptr);
  EXPECT_EQ(cache.entries, nullptr);
}

TEST_F(TTFixture, FieldsRoundTripWithMateAdjustment) {
  struct Case {
    int storePly, score, readPly, expectRaw, expectRead;
  };
  const Case cases[] = {
      {5, 32692, 3, 32697, 32694},     // mate delivered at ply 8, seen again at ply 3: mate at ply 6
      {5, -32692, 3, -32697, -32694},  // the mated side's view
      {0, 31900, 9, 31900, 31900},     // the bound itself is not a mate score
      {7, 1234, 2, 1234, 1234},
  };
  uint64_t key = 0x1234567890ABCDEFULL;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.score);
    key += 0x9E3779B97F4A7C15ULL;
    ttStore(table, key, c.storePly, BOUND_LOWER, 9, c.score, -321, 0);
    const uint64_t data = ttSlot(table, key).data.load();
    EXPECT_EQ(int16_t(data >> 16), c.expectRaw);
    TTHit hit{};
    ASSERT_TRUE(ttProbe(table, key, c.readPly, hit));
    EXPECT_EQ(hit.score, c.expectRead);
    EXPECT_EQ(hit.bound, BOUND_LOWER);
    EXPECT_EQ(hit.depth, 9);
    EXPECT_EQ(hit.staticEval, -321);
    EXPECT_EQ(hit.move, 0);
  }
  // Quiescence depths are zero or negative and keep their sign; NO_EVAL survives the 16 bits.
  const int depths[] = {0, -1, -7, 1, 63};
  for (int bound : {BOUND_UPPER, BOUND_LOWER, BOUND_EXACT}) {
    for (int depth : depths) {
      key += 0x9E3779B97F4A7C15ULL;
      ttStore(table, key, 0, bound, depth, 0, board::NO_EVAL, 0);
      TTHit hit{};
      ASSERT_TRUE(ttProbe(table, key, 0, hit));
      EXPECT_EQ(hit.depth, depth);
      EXPECT_EQ(hit.bound, bound);
      EXPECT_EQ(hit.staticEval, board::NO_EVAL);
      EXPECT_EQ(int16_t(ttSlot(table, key).data.load()), depth * 4 + bound);
    }
  }
}

TEST_F(TTFixture, KeyCheckAgeAndTornEntries) {
  const uint64_t key = 0x0F0E0D0C0B0A0908ULL;
  TTHit hit{};
  EXPECT_FALSE(ttProbe(table, key, 0, hit));  // zeroed slot of age 0 is not current
  ttStore(table, key, 0, BOUND_EXACT, 4, 100, 50, 0);
  ASSERT_TRUE(ttProbe(table, key, 0, hit));
  // Another key in the same slot (same low bits) misses, also one that differs in bit 55.
  EXPECT_FALSE(ttProbe(table, key ^ (table.mask + 1), 0, hit));
  EXPECT_FALSE(ttProbe(table, key ^ (uint64_t(1) << 55), 0, hit));

  // A torn entry: key check of one store, data of another store to the same slot.
  const uint64_t checkA = ttSlot(table, key).keyCheck.load();
  const uint64_t dataA = ttSlot(table, key).data.load();
  ttStore(table, key, 0, BOUND_LOWER, 6, -77, 12, 0);
  const uint64_t dataB = ttSlot(table, key).data.load();
  ASSERT_NE(dataA, dataB);
  ttSlot(table, key).keyCheck.store(checkA);
  EXPECT_FALSE(ttProbe(table, key, 0, hit));
  ttSlot(table, key).data.store(dataA);
  ASSERT_TRUE(ttProbe(table, key, 0, hit));
  EXPECT_EQ(hit.score, 100);

  // The next search does not see it; 256 searches later the age stamp has wrapped and it is back.
  ttNewSearch(table);
  EXPECT_FALSE(ttProbe(table, key, 0, hit));
  for (int i = 0; i < 255; ++i) ttNewSearch(table);
  EXPECT_TRUE(ttProbe(table, key, 0, hit));
  EXPECT_EQ(table.age & TT_KEY_BITS, 0u);
}

TEST_F(TTFixture, ReplacementTests) {
  const uint64_t key = 0x5555AAAA5555AAAAULL;
  const uint64_t other = key ^ (table.mask + 1);  // shares the slot
  struct Case {
    int bound, depth;
    bool older;           // stored in the previous search
    bool nonPvMayStore;   // end of a non-PV full-width node
    bool quiesceMayStore;  // quiescence result
  };
  const Case cases[] = {
      {BOUND_EXACT, 5, false, false, false}, {BOUND_EXACT, 0, false, false, true},
      {BOUND_LOWER, 5, false, true, false},  {BOUND_UPPER, 1, false, true, false},
      {BOUND_UPPER, 0, false, true, true},   {BOUND_LOWER, -3, false, true, true},
      {BOUND_EXACT, 9, true, true, true},    {BOUND_LOWER, 9, true, true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bound << " " << c.depth << " " << c.older);
    ttStore(table, other, 0, c.bound, c.depth, 0, 0, 0);
    if (c.older) ttNewSearch(table);
    // The protection holds whichever position the entry belongs to.
    EXPECT_EQ(ttMayStoreNonPv(table, key), c.nonPvMayStore);
    EXPECT_EQ(ttMayStoreQuiescence(table, key), c.quiesceMayStore);
    EXPECT_EQ(ttMayStoreNonPv(table, other), c.nonPvMayStore);
  }
  // An empty slot never protects itself.
  EXPECT_TRUE(ttMayStoreNonPv(table, 0x77));
  EXPECT_TRUE(ttMayStoreQuiescence(table, 0x77));
}

// Plays UCI move texts from a FEN, returning the moves as the legal-move generator gives them.
std::vector<board::Move> play(board::Position& pos, const char* fen,
                              std::initializer_list<const char*> texts) {
  EXPECT_TRUE(board::setupFromFen(pos, fen));
  std::vector<board::Move> moves;
  for (const char* text : texts) {
    const board::Move found = board::legalMoveFromText(pos, text);
    EXPECT_NE(found, 0u) << text;
    moves.push_back(found);
    board::makeMove(pos, found);
  }
  return moves;
}

TEST_F(TTFixture, PrincipalVariationCarriesOverAndIsReadBack) {
  board::Position pos;
  const std::vector<board::Move> line =
      play(pos, board::START_FEN, {"e2e4", "e7e5", "g1f3", "b8c6"});
  // Store the exact chain from the root, as a finished search leaves it, plus other entries.
  std::vector<uint64_t> keys;
  for (size_t i = 0; i < line.size(); ++i) board::unmakeMove(pos);
  for (const board::Move m : line) {
    keys.push_back(board::currentState(pos).key);
    ttStore(table, keys.back(), 0, BOUND_EXACT, 4, 10, 20, m);
    board::makeMove(pos, m);
  }
  const uint64_t leafKey = board::currentState(pos).key;
  ttStore(table, leafKey, 0, BOUND_LOWER, 2, 10, 20, 0);  // not exact: not carried
  for (size_t i = 0; i < line.size(); ++i) board::unmakeMove(pos);
  const board::BoardState before = board::currentState(pos);

  board::Move pv[64];
  ASSERT_EQ(ttReadPv(table, pos, pv, 64), 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(pv[i], line[size_t(i)]);
  EXPECT_EQ(ttReadPv(table, pos, pv, 2), 2);

  EXPECT_EQ(ttCarryPv(table, pos), line[0]);
  EXPECT_EQ(board::stackIndex(pos), 0);
  EXPECT_EQ(std::memcmp(&before, &board::currentState(pos), sizeof before), 0);
  ttNewSearch(table);
  TTHit hit{};
  for (const uint64_t key : keys) EXPECT_TRUE(ttProbe(table, key, 0, hit));
  EXPECT_FALSE(ttProbe(table, leafKey, 0, hit));
  ASSERT_EQ(ttReadPv(table, pos, pv, 64), 4);
  EXPECT_EQ(pv[3], line[3]);

  // A move that does not fit its position (a key collision) ends the walk there.
  ttStore(table, leafKey, 0, BOUND_EXACT, 1, 0, 0, line[0]);  // e2e4 with White's e-pawn gone
  EXPECT_EQ(ttReadPv(table, pos, pv, 64), 4);
  // Another search of an unrelated root carries nothing.
  board::Position other;
  play(other, "8/8/8/8/8/8/k7/4K2R w K - 0 1", {});
  EXPECT_EQ(ttCarryPv(table, other), 0u);

  // Knights out and back, a cycle in the table: the walks stop where the root position repeats.
  const std::vector<board::Move> cycle = play(pos, board::START_FEN, {"g1f3", "g8f6", "f3g1", "f6g8"});
  for (size_t i = 0; i < cycle.size(); ++i) board::unmakeMove(pos);
  for (const board::Move m : cycle) {
    ttStore(table, board::currentState(pos).key, 0, BOUND_EXACT, 4, 0, 0, m);
    board::makeMove(pos, m);
  }
  for (size_t i = 0; i < cycle.size(); ++i) board::unmakeMove(pos);
  EXPECT_EQ(ttReadPv(table, pos, pv, 64), 4);
  EXPECT_EQ(ttCarryPv(table, pos), cycle[0]);
  EXPECT_EQ(board::stackIndex(pos), 0);
}

}  // namespace

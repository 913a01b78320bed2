// The new-game routine in-process: what it clears, what it leaves alone, and the hash block it holds.
#include <gtest/gtest.h>

#include "search/thread.h"
#include "search/tt.h"
#include "eval/pawn_cache.h"
#include "uci/commands.h"
#include "uci/options.h"
#include "support/memory.h"

namespace {

TEST(NewGame, ClearsKillersOfTheThreadsInUseAndRebuildsTheTables) {
  uci::resetSettings(uci::engineSettings);
  uci::engineSettings.hashMb = 2;
  uci::engineSettings.threads = 2;
  uci::engineSettings.syzygyPath[0] = '\0';  // no tablebase scan, no output
  uci::newGame();
  ASSERT_TRUE(uci::hashAllocated());
  EXPECT_EQ(search::tt.entryCount, 131072u);
  EXPECT_EQ(eval::pawnCache.entries, static_cast<eval::PawnCacheEntry*>(search::tt.hashMemory));

  for (int t = 0; t < 3; ++t) search::searchThreads[size_t(t)].killers[5] = {0x1234, 0x5678};
  search::searchThreads[0].history[1][7] = 99;
  search::ttNewSearch(search::tt);
  search::ttStore(search::tt, 0xABCDEF, 0, search::BOUND_EXACT, 3, 1, 2, 0);
  eval::pawnCacheStore(eval::pawnCache, 0x123456, 5, 6);

  uci::newGame();
  EXPECT_EQ(search::tt.age, 0u);
  EXPECT_TRUE(testsupport::allZero(search::tt.hashMemory, search::tt.hashBytes));
  EXPECT_EQ(search::searchThreads[0].killers[5][0], 0u);
  EXPECT_EQ(search::searchThreads[1].killers[5][1], 0u);
  EXPECT_EQ(search::searchThreads[2].killers[5][0], 0x1234u);  // beyond Threads: untouched
  EXPECT_EQ(search::searchThreads[0].history[1][7], 99);       // history survives a new game

  // "Clear Hash" clears the same in place, and the history too.
  void* const block = search::tt.hashMemory;
  search::searchThreads[1].killers[5] = {0x1234, 0x5678};
  search::ttNewSearch(search::tt);
  search::ttStore(search::tt, 0xABCDEF, 0, search::BOUND_EXACT, 3, 1, 2, 0);
  eval::pawnCacheStore(eval::pawnCache, 0x123456, 5, 6);
  uci::clearHash();
  EXPECT_EQ(search::tt.hashMemory, block);
  EXPECT_EQ(search::tt.age, 0u);
  EXPECT_TRUE(testsupport::allZero(search::tt.hashMemory, search::tt.hashBytes));
  EXPECT_EQ(search::searchThreads[1].killers[5][0], 0u);
  EXPECT_EQ(search::searchThreads[2].killers[5][0], 0x1234u);
  EXPECT_EQ(search::searchThreads[0].history[1][7], 0);

  uci::releaseResources();
  EXPECT_FALSE(uci::hashAllocated());
  EXPECT_EQ(eval::pawnCache.entries, nullptr);
  search::searchThreads[2].killers[5] = {0, 0};
  search::searchThreads[0].history[1][7] = 0;
  uci::resetSettings(uci::engineSettings);
}

}  // namespace

// The parallel search in-process: sound results with several threads and the node limit. (Stops and
// games on a clock through the pipes are in threads_e2e_test.cpp.) Run under ThreadSanitizer too.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#if defined(__linux__)
#include <sched.h>
#endif

#include "search/driver.h"
#include "search/search.h"
#include "search/threads.h"
#include "search_helpers.h"

namespace {

using namespace search;

bool isRootMove(board::Move move) {
  const auto& moves = searchLimits.rootMoves;
  return move != 0 &&
         std::find(moves.begin(), moves.begin() + searchLimits.rootMoveCount, move) !=
             moves.begin() + searchLimits.rootMoveCount;
}

void expectAllThreadsIdle(int threads) {
  for (int i = 0; i < threads; ++i) {
    EXPECT_FALSE(searchThreads[i].handle.joinable()) << "thread " << i;
    EXPECT_EQ(searchThreads[i].nextSplitPoint, 0) << "thread " << i;
  }
  EXPECT_EQ(searchThreads[0].state.load(), THREAD_IDLE);
}

struct MateCase {
  const char* fen;
  int mateIn;
};

const MateCase kMates[] = {
    {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 2},
    {"2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1", 3},
    {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1", 3},
    {"1k5r/pP3ppp/3p2b1/1BN1n3/1Q2P3/P1B5/KP3P1P/7q w - - 1 1", 3},
};

// Mates are still found, with a principal variation that really mates; nodes are split on the way
// and the helpers leave after every search.
TEST(ThreadsSearch, MatesAreFoundWithTwoFourAndEightThreads) {
  processorOverride = 0;  // every thread may search, whatever the machine has
  const uint64_t splitsBefore = splitsMade.load();
  for (int threads : {2, 4, 8}) {
    for (const MateCase& c : kMates) {
      searchtest::newGame();
      ASSERT_TRUE(searchtest::setRoot(c.fen));
      searchtest::prepareLimits(2 * c.mateIn + 2, threads);
      runSearch();
      const SearchResult& result = lastSearch;
      // Never shorter than the shortest mate; possibly longer (razoring against a mate bound).
      EXPECT_GE(result.score, board::MATE - (2 * c.mateIn + 3)) << threads << " threads: " << c.fen;
      EXPECT_LE(result.score, board::MATE - (2 * c.mateIn - 1)) << threads << " threads: " << c.fen;
      EXPECT_TRUE(searchtest::pvMates(result)) << threads << " threads: " << c.fen;
      expectAllThreadsIdle(threads);
    }
  }
  processorOverride = -1;
  EXPECT_GT(splitsMade.load(), splitsBefore) << "no node was ever split";
}

// "go nodes": the search stops once all threads together have searched the limit, overshooting by
// less than one clock-check interval per thread (plus the quiescence tail below the checking node).
TEST(ThreadsSearch, NodeLimitStopsWithinOneCheckIntervalPerThread) {
  processorOverride = 0;
  for (int threads : {1, 2, 4}) {
    for (uint64_t limit : {20000u, 300000u}) {
      searchtest::newGame();
      ASSERT_TRUE(searchtest::setRoot("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1"));
      searchtest::prepareLimits(0, threads);
      searchLimits.nodeLimit = limit;
      runSearch();
      searchLimits.nodeLimit = 0;
      SCOPED_TRACE(testing::Message() << threads << " threads, limit " << limit);
      EXPECT_GE(lastSearch.nodes, limit);
      EXPECT_LT(lastSearch.nodes, limit + uint64_t(threads) * (CLOCK_CHECK_INTERVAL + 512));
      EXPECT_TRUE(isRootMove(lastSearch.bestMove));
    }
  }
  processorOverride = -1;
}

// Eight threads on two processors: only threads 0 and 1 ever search; the others stay parked.
TEST(ThreadsSearch, ThreadsBeyondTheProcessorsStayParked) {
  processorOverride = 2;
  searchtest::newGame();
  ASSERT_TRUE(searchtest::setRoot("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1"));
  searchtest::prepareLimits(9, 8);
  runSearch();
  processorOverride = -1;
  EXPECT_TRUE(isRootMove(lastSearch.bestMove));
  EXPECT_GT(searchThreads[1].nodes.load(), 0u) << "the second thread searched nothing";
  for (int i = 2; i < 8; ++i) EXPECT_EQ(searchThreads[i].nodes.load(), 0u) << "thread " << i;
  expectAllThreadsIdle(8);
}

#if defined(__linux__)
// The whole process shares one processor with a busy thread of another "program", so a waiting thread
// can only hold up the one it waits for. Consecutive short searches with two threads still end (a
// spinning waiter burns a time slice at every wait), waits give the processor away, the helper searches.
TEST(ThreadsSearch, TwoThreadsShareOneBusyProcessor) {
  cpu_set_t saved, one;
  ASSERT_EQ(sched_getaffinity(0, sizeof saved, &saved), 0);
  CPU_ZERO(&one);
  for (int cpu = 0; cpu < CPU_SETSIZE && !CPU_COUNT(&one); ++cpu)
    if (CPU_ISSET(cpu, &saved)) CPU_SET(cpu, &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);  // threads created from here on inherit it
  std::atomic<bool> done{false};
  std::thread busy([&] { while (!done.load(std::memory_order_relaxed)) continue; });
  const uint64_t parkedBefore = waitsParked.load();
  const uint64_t movesBefore = movesApart.load();
  uint64_t helperNodes = 0;
  for (int i = 0; i < 12; ++i) {
    if (i % 3 == 0) searchtest::newGame();  // cleared and warm tables
    EXPECT_TRUE(searchtest::setRoot("r1bqkb1r/pp3ppp/2n1pn2/2pp4/3P4/2PBPN2/PP1N1PPP/R1BQK2R b KQkq - 0 6"));
    searchtest::prepareLimits(9, 2);
    runSearch();
    helperNodes += searchThreads[1].nodes.load();
    expectAllThreadsIdle(2);
  }
  done = true;
  busy.join();
  sched_setaffinity(0, sizeof saved, &saved);
  EXPECT_GT(waitsParked.load(), parkedBefore) << "no waiting thread gave its processor away";
  EXPECT_GT(helperNodes, 0u) << "the second thread never searched";
  EXPECT_EQ(movesApart.load(), movesBefore) << "moved although one processor was allowed";
}

// A searching thread that finds itself on the processor where another working thread was last seen
// moves to a free one and keeps its affinity; a parked or idle thread there does not count.
TEST(ThreadsSearch, ThreadsSharingAProcessorMoveApart) {
  cpu_set_t saved;
  ASSERT_EQ(sched_getaffinity(0, sizeof saved, &saved), 0);
  if (CPU_COUNT(&saved) < 2) GTEST_SKIP() << "needs two processors";
  const struct {
    int otherState;
    int otherParked;
    bool moves;
  } cases[] = {{THREAD_WORKING, 0, true}, {THREAD_WAITING, 0, true},
               {THREAD_WORKING, 1, false}, {THREAD_IDLE, 0, false}};
  processorOverride = 2;
  startThreads(2);
  for (const auto& c : cases) {
    SearchThread& other = searchThreads[0];
    other.state.store(c.otherState);
    other.parked.store(c.otherParked);
    uint64_t moves = 0;
    int here = -1;
    // The scheduler may move the thread between the set-up and the check on its own: a case that
    // should move is tried again then.
    for (int attempt = 0; attempt == 0 || (attempt < 5 && moves != (c.moves ? 1u : 0u)); ++attempt) {
      here = sched_getcpu();
      other.processor.store(here);
      const uint64_t movesBefore = movesApart.load();
      keepApart(searchThreads[1]);  // the calling thread plays thread 1
      moves = movesApart.load() - movesBefore;
    }
    EXPECT_EQ(moves, c.moves ? 1u : 0u) << c.otherState << " " << c.otherParked;
    EXPECT_EQ(searchThreads[1].processor.load() != here, c.moves);
    cpu_set_t now;
    ASSERT_EQ(sched_getaffinity(0, sizeof now, &now), 0);
    EXPECT_TRUE(CPU_EQUAL(&now, &saved)) << "affinity not given back";
  }
  searchThreads[0].state.store(THREAD_WORKING);
  searchThreads[0].parked.store(0);
  stopThreads();
  processorOverride = -1;
}
#endif

}  // namespace

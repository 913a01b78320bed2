// The parallel search's booking rules on plain state.
// Suites whose name contains "Threads" are the ones to run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <vector>

#include "search/threads.h"

namespace {

using namespace search;

// States of up to 16 threads for the booking tests, given as a string: I idle, W working,
// B booked, S starting, w waiting.
struct Threads {
  int states[MAX_THREADS] = {};
  uint64_t latest[MAX_THREADS] = {};
  int count = 0;
};

Threads threadsFrom(const char* text) {
  Threads t;
  for (; text[t.count]; ++t.count) {
    switch (text[t.count]) {
      case 'I': t.states[t.count] = THREAD_IDLE; break;
      case 'W': t.states[t.count] = THREAD_WORKING; break;
      case 'B': t.states[t.count] = THREAD_BOOKED; break;
      case 'S': t.states[t.count] = THREAD_STARTING; break;
      default: t.states[t.count] = THREAD_WAITING; break;
    }
  }
  return t;
}

TEST(ThreadsBooking, ChoosesIdleThreadsAndHelpersOfWaitingOwners) {
  struct Case {
    const char* states;
    int self;
    std::vector<std::pair<int, uint64_t>> latestWorkers;  // thread, workers of its latest split point
    uint64_t expected;
    int processors = 0;
  };
  const Case cases[] = {
      // Nobody else is idle: the mask holds only the splitting thread, so no split is made.
      {"WW", 0, {}, 0b01},
      // Idle threads are booked in ascending order.
      {"WI", 0, {}, 0b11},
      {"IWIW", 1, {}, 0b0111},
      // A split point has at most six threads, even with fifteen idle.
      {"WIIIIIIIIIIIIIII", 0, {}, 0b111111},
      // A waiting owner may be booked only by a thread that helps it.
      {"wW", 1, {{0, 0b01}}, 0b10},
      {"wW", 1, {{0, 0b11}}, 0b11},
      {"wIW", 2, {{0, 0b011}}, 0b110},
      // More threads than processors: no more searching threads than processors.
      {"WIII", 0, {}, 0b0011, 2},
      {"WWII", 0, {}, 0b0001, 2},
      {"WBII", 0, {}, 0b0001, 2},
      {"wWII", 1, {{0, 0b11}}, 0b0011, 2},
      {"IIWIII", 2, {}, 0b001111, 4},
  };
  for (const Case& c : cases) {
    Threads t = threadsFrom(c.states);
    for (const auto& [thread, workers] : c.latestWorkers) t.latest[thread] = workers;
    EXPECT_EQ(chooseWorkers(c.self, t.count, t.states, t.latest, c.processors), c.expected)
        << c.states << " self " << c.self << " processors " << c.processors;
  }
}

TEST(ThreadsBooking, SplitNeedsThreadsDepthAndAFreeSlot) {
  struct Case {
    int threads, depth, minSplitDepth, used;
    bool expected;
  };
  const Case cases[] = {
      {1, 20, 3, 0, false},  // one thread never splits
      {2, 4, 4, 0, true},    {2, 3, 4, 0, false},  // with two threads nodes of depth 3 never split
      {4, 5, 5, 7, true},    {4, 5, 5, 8, false},  // eight nested split points per thread at most
      {64, 9, 9, 0, true},
  };
  for (const Case& c : cases)
    EXPECT_EQ(maySplit(c.threads, c.depth, c.minSplitDepth, c.used), c.expected)
        << c.threads << " threads, depth " << c.depth << ", " << c.used << " in use";
}

}  // namespace

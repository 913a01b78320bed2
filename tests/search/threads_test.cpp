// The parallel search's booking rules on plain state.
// Suites whose name contains "Threads" are the ones to run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <string_view>
#include <thread>
#include <vector>

#include "platform/spin_lock.h"
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
  constexpr int codes[] = {THREAD_IDLE, THREAD_WORKING, THREAD_BOOKED, THREAD_STARTING, THREAD_WAITING};
  Threads t;
  for (; text[t.count]; ++t.count) t.states[t.count] = codes[std::string_view("IWBSw").find(text[t.count])];
  return t;
}

TEST(ThreadsBooking, ChoosesIdleThreadsAndHelpersOfWaitingOwners) {
  struct Case {
    const char* states;
    int self;
    std::vector<std::pair<int, uint64_t>> latestWorkers;  // thread, workers of its latest split point
    uint64_t expected;
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
  };
  for (const Case& c : cases) {
    Threads t = threadsFrom(c.states);
    for (const auto& [thread, workers] : c.latestWorkers) t.latest[thread] = workers;
    EXPECT_EQ(chooseWorkers(c.self, t.count, t.states, t.latest), c.expected)
        << c.states << " self " << c.self;
  }
  // A split also needs two threads, and a free slot of the eight nested split points a thread has.
  EXPECT_FALSE(maySplit(1, 20, 3, 0));
  EXPECT_TRUE(maySplit(4, 5, 5, 7));
  EXPECT_FALSE(maySplit(4, 5, 5, 8));
}

// The split points' lock keeps every other thread out: four threads, more than the processors here,
// so that holders also lose their processor inside the section, add to one plain counter, with
// a read and a write apart so that an overlap loses increments.
TEST(ThreadsSpinLock, KeepsEveryOtherThreadOut) {
  platform::SpinLock lock;
  int64_t counter = 0;
  constexpr int THREADS = 4;
  constexpr int ROUNDS = 50000;
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < ROUNDS; ++i) {
        lock.lock();
        const int64_t seen = counter;
        if (i % 64 == 0) std::this_thread::yield();
        counter = seen + 1;
        lock.unlock();
      }
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(counter, int64_t(THREADS) * ROUNDS);
}

}  // namespace

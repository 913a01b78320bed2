#pragma once
// Split points of the parallel search, the thread states and the waiting helpers.
//
// A node that has searched at least one move may become a split point: its remaining moves are
// handed out one at a time, under the split point's lock, to its owner and to idle threads that the
// owner booked. Hand-over order: the owner fills the split point and its copy of the position
// stack, then books each helper (its `splitPoint`, then `state` = THREAD_BOOKED, release), then sets
// THREAD_WORKING; a helper reads the split point only after it has seen THREAD_BOOKED (acquire), and
// starts searching only after it has seen THREAD_WORKING.
//
// Waiting: a waiting thread spins for a short while with the pause hint (a hand-over on a machine
// with processors to spare takes microseconds), then parks in the kernel until the thread that
// changes what it waits for wakes it. So a thread that has nothing to do never holds a processor that
// a working thread or another program needs. The locks themselves (a split point's, the booking
// lock) are held for a few hundred instructions at a time and spin (platform::SpinLock).
#include <atomic>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"
#include "platform/bits.h"
#include "platform/spin_lock.h"

namespace search {

struct MovePicker;

constexpr int MAX_SPLIT_POINTS = 8;       // nested split points owned by one thread
constexpr int MAX_SPLIT_POINT_THREADS = 6;  // owner included

// Thread states (one bit each, so that tests can combine them).
constexpr int THREAD_WORKING = 1;   // searching: thread 0 for the whole search, a helper on a split point
constexpr int THREAD_IDLE = 2;      // waiting for work; any split may book it
constexpr int THREAD_BOOKED = 4;    // booked for a split point, copying its position
constexpr int THREAD_WAITING = 8;   // owner waiting for its helpers; only those helpers may book it
constexpr int THREAD_STARTING = 16;  // created, not yet in its idle loop

// One split node shared by its owner and up to five helpers. Every plain field is written by the
// owner before any helper is booked and afterwards read and written only under `lock`; `workers`
// and `stopped` are also read without the lock (spinning owners, stop checks at every node).
struct SplitPoint {
  int nodeType = 0;
  int alpha = 0;  // raised by every thread
  int beta = 0;
  int staticEval = 0;
  int moveCount = 0;  // the move loop's counter, shared
  board::Move bestMove = 0;  // the move that last raised alpha
  int depth = 0;
  int ply = 0;
  int nullAllowed = 0;
  // The node's move picker (stage, hash move, killers, move list and cursor), in the owner's node
  // frame, which the owner leaves only once `workers` is 0.
  MovePicker* picker = nullptr;
  std::atomic<int> stopped{0};  // a move reached beta
  platform::SpinLock lock;
  std::atomic<uint64_t> workers{0};  // bit i set while thread i works here (or is booked to)
  // Bit i set once booked thread i has taken its place here. A booked thread that has not yet done so
  // when the owner runs out of moves (it had no processor yet) is released instead of waited for.
  std::atomic<uint64_t> joined{0};
  int owner = 0;  // the thread that split here
  // The owner's stack up to the split node; positions.current is the split node's record.
  board::Position positions;
};

// ---- booking rules, on plain values so that they can be tested without threads ----

// Whether a thread of the given state may be booked by thread `self`: an idle thread always; a
// thread waiting for the helpers of its latest split point (whose workers are `latestWorkers`) only
// by one of those helpers.
constexpr bool isAvailable(int self, int state, uint64_t latestWorkers) {
  return state == THREAD_IDLE ||
         (state == THREAD_WAITING && ((latestWorkers >> self) & 1) != 0);
}

// Whether a node may be offered to the parallel search at all.
constexpr bool maySplit(int threadCount, int depth, int minSplitDepth, int splitPointsInUse) {
  return threadCount >= 2 && depth >= minSplitDepth && splitPointsInUse < MAX_SPLIT_POINTS;
}

// The workers mask of a new split point of thread `self`: its own bit plus the available threads in
// ascending order while the mask has fewer than MAX_SPLIT_POINT_THREADS bits. states[j] and
// latestWorkers[j] are thread j's state and the workers of its most recent split point.
constexpr uint64_t chooseWorkers(int self, int threadCount, const int* states, const uint64_t* latestWorkers) {
  uint64_t mask = uint64_t(1) << self;
  for (int j = 0; j < threadCount && platform::popcount(mask) < MAX_SPLIT_POINT_THREADS; ++j)
    if (j != self && isAvailable(self, states[j], latestWorkers[j])) mask |= uint64_t(1) << j;
  return mask;
}

}  // namespace search

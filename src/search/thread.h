#pragma once
// Search thread records: one per thread in a fixed array; record 0 is the driver's thread and holds
// the root position.
#include <array>
#include <atomic>
#include <cstdint>
#include <thread>

#include "board/position.h"
#include "board/types.h"
#include "eval/eval.h"
#include "search/split_point.h"

namespace search {

constexpr int MAX_THREADS = 64;
constexpr int MAX_PLY = 64;
constexpr int HISTORY_BUCKETS = 16;  // one per four plies
constexpr int HISTORY_SIZE = 1024;   // piece code * 64 + destination; counter 0 = bucket total

// Everything one search thread owns. Only the thread itself writes its counters (relaxed
// load-and-store, a plain add); the driver sums them for output.
struct SearchThread {
  std::thread handle;
  board::Position position;
  std::array<std::array<board::Move, 2>, MAX_PLY> killers{};  // slot 0 newest, without MOVE_CHECK
  std::array<std::array<int32_t, HISTORY_SIZE>, HISTORY_BUCKETS> history{};
  eval::EvalContext evalContext;
  int index = 0;

  std::atomic<uint64_t> nodes{0};   // full-width and quiescence nodes of this thread
  std::atomic<uint64_t> tbHits{0};  // successful tablebase probes of this thread
  uint64_t nextClockCheck = 0;      // own node count at which the clock is read next

  // Parallel search. `state` and `exitRequested` are read by spinning threads; `splitPoint` is
  // written by the thread that books this one and read at every node for the stop check.
  std::atomic<int> state{THREAD_IDLE};
  std::atomic<int> exitRequested{0};
  std::atomic<SplitPoint*> splitPoint{nullptr};  // the split point it works for right now
  std::array<SplitPoint, MAX_SPLIT_POINTS> splitPoints;  // owned split points, used as a stack
  int nextSplitPoint = 0;  // first free entry of splitPoints; changed under splitLock
  // Parking: `parked` is set while the thread sleeps in a wait; whoever changes what it waits for
  // then bumps `wakeWord` and wakes it.
  std::atomic<int> parked{0};
  std::atomic<uint32_t> wakeWord{0};
  std::atomic<int> processor{-1};  // where keepApart last found the thread running
};

extern std::array<SearchThread, MAX_THREADS> searchThreads;

inline board::Position& rootPosition() { return searchThreads[0].position; }

// Adds one to a counter that only the calling thread writes.
inline void bumpCounter(std::atomic<uint64_t>& counter, uint64_t amount = 1) {
  counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

}  // namespace search

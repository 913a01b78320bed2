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

struct SearchThread {
  std::thread handle;
  board::Position position;
  std::array<std::array<board::Move, 2>, MAX_PLY> killers{};  // slot 0 newest, without MOVE_CHECK
  std::array<std::array<int32_t, 1024>, 16> history{};        // by ply / 4; counter 0 = bucket total
  eval::EvalContext evalContext;
  int index = 0;

  // Parallel search. `state` and `exitRequested` are read by spinning threads; `splitPoint` is
  // written by the thread that books this one and read at every node for the stop check.
  std::atomic<int> state{THREAD_IDLE};
  std::atomic<int> exitRequested{0};
  std::atomic<SplitPoint*> splitPoint{nullptr};  // the split point it works for right now
  std::array<SplitPoint, MAX_SPLIT_POINTS> splitPoints;  // owned split points, used as a stack
  int nextSplitPoint = 0;  // first free entry of splitPoints; changed under splitLock
};

extern std::array<SearchThread, MAX_THREADS> searchThreads;

inline board::Position& rootPosition() { return searchThreads[0].position; }

}  // namespace search

#pragma once
// Starting, stopping and joining the search thread (thread 0 runs the driver), and the driver itself
// for tools and tests that search on the calling thread.
#include <array>
#include <cstdint>

#include "board/types.h"

namespace search {

// Starts search thread 0 with the driver on the root position and searchLimits; returns at once.
void startSearch();
// Joins the search thread if one was started and has not been joined.
void waitForSearch();
// Sets stopRequested and joins the search thread.
void stopSearch();
// "ponderhit": stops at once when past the soft deadline or with a single root move, else clears
// pondering.
void ponderHit();

// Runs a whole search (deadlines from searchLimits.startMs, iterative deepening, output unless
// searchLimits.silent) on the calling thread and returns when it is over.
void runSearch();

// What the last search found: its last completed iteration.
struct SearchResult {
  board::Move bestMove = 0;
  board::Move ponderMove = 0;
  int score = 0;      // search score of the last completed iteration, internal units
  int depth = 0;      // last completed iteration (0: none, or an empty root move list)
  uint64_t nodes = 0;
  bool fromBook = false;
  int pvLength = 0;
  std::array<board::Move, 64> pv{};
};

extern SearchResult lastSearch;

}  // namespace search

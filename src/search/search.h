#pragma once
// The alpha-beta node, its move loop and the quiescence search. Scores are in quarter centipawns from
// the side to move's view; a side mated at ply p scores p - MATE.
#include <cstdint>

#include "board/types.h"
#include "search/limits.h"
#include "search/thread.h"
#include "search/threads.h"

namespace search {

constexpr int NODE_ALL = 0;
constexpr int NODE_CUT = 1;
constexpr int NODE_PV = 2;

constexpr int INFINITE_SCORE = 32700;
// Beyond this a score is a mate (or tablebase) score.
constexpr int MATE_SCORE_LIMIT = 31899;

inline bool isMateScore(int score) { return score < -MATE_SCORE_LIMIT || score > MATE_SCORE_LIMIT; }

// A draw is worth drawScore to the side that moves at the root: drawScore at even plies, its
// negative at odd plies.
inline int drawValue(int ply) { return (ply & 1) ? -searchLimits.drawScore : searchLimits.drawScore; }

inline bool stopRequested() {
  return searchLimits.stopRequested.load(std::memory_order_relaxed) != 0;
}

// The stop checks of a node: the global stop, or a cut-off at the split point the thread works for.
inline bool searchStopped(const SearchThread& thread) {
  return stopRequested() || splitPointStopped(thread);
}

// Each thread runs checkClock after every CLOCK_CHECK_INTERVAL nodes of its own.
constexpr uint64_t CLOCK_CHECK_INTERVAL = 1024;
constexpr uint64_t LEVEL_CHECK_INTERVAL = 16;

// Raises stopRequested once past the hard deadline or once all threads together have searched
// nodeLimit nodes; neither while pondering, nor before the first iteration has completed.
void checkClock(SearchThread& thread);

// Full-width and quiescence nodes of all threads of the running search.
uint64_t totalNodes();

// The full-width node below the root (ply >= 1). depth <= 0 goes to quiesce. nullAllowed: a null
// move may be tried here.
int search(SearchThread& thread, int nodeType, int ply, int depth, int alpha, int beta,
           int nullAllowed);

// Captures, promotions and (at depth 0) quiet checks; evasions when in check.
int quiesce(SearchThread& thread, int nodeType, int ply, int depth, int alpha, int beta);

// The parallel search's hook, offered after every searched move of a full-width node (moveCount is
// that move's count). Splits the node when it is deep enough and another thread is free; returns
// true when the node's remaining moves were searched at the split point (alpha and bestMove then
// hold its result). With one thread it never splits.
bool trySplit(SearchThread& thread, MovePicker& picker, int nodeType, int ply, int depth, int& alpha,
              int beta, int staticEval, int nullAllowed, int moveCount, board::Move& bestMove);

// A pawn move to a square with no enemy pawn ahead of it on its own or the adjacent files.
bool isPassedPawnPush(const board::BoardState& state, board::Move move);

}  // namespace search

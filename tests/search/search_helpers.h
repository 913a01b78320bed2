#pragma once
// In-process searches for the search tests: set up a position (and moves played before it), search
// to a fixed depth with output off, and read the result.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "eval/pawn_cache.h"
#include "platform/clock.h"
#include "search/driver.h"
#include "search/limits.h"
#include "search/thread.h"
#include "search/tt.h"

namespace searchtest {

// Allocates a fresh 16 MB table, as a new game does.
inline void newGame() {
  ASSERT_TRUE(search::ttAllocate(search::tt, eval::pawnCache, 16));
  for (auto& ply : search::searchThreads[0].killers) ply = {};
}

// Sets up the FEN on the root position and plays the moves (UCI text, blank separated).
inline bool setRoot(const std::string& fen, const std::string& moves = "") {
  board::Position& pos = search::rootPosition();
  if (!board::setupFromFen(pos, fen)) return false;
  std::istringstream words(moves);
  for (std::string word; words >> word;) {
    const board::Move m = board::legalMoveFromText(pos, word.c_str());
    if (m == 0) return false;
    board::makeMove(pos, m);
  }
  return true;
}

// Fills the limits for a search of the root position: iterations 1 to depth complete (depth 0: no
// depth limit), with a clock of timeMs for the side to move when it is positive.
inline void prepareLimits(int depth, int threads = 1, int timeMs = 0, int drawScoreCp = 0, int strength = 100) {
  search::SearchLimits& limits = search::searchLimits;
  board::Position& pos = search::rootPosition();
  limits.rootMoveCount =
      int(board::generateLegalMoves(pos, limits.rootMoves.data()) - limits.rootMoves.data());
  limits.movesToGo = 0;
  limits.timeMs = timeMs;
  limits.incrementMs = 0;
  limits.movesPlayed = 0;
  limits.clockGiven = timeMs > 0;
  limits.depthLimit = depth > 0 ? depth + 1 : 64;
  limits.drawScore = drawScoreCp * 4;
  limits.strength = strength;
  limits.threads = threads;
  limits.syzygyProbeLimit = 0;
  limits.logEnabled = false;
  limits.silent = true;
  limits.nodeLimit = 0;
  limits.mateLimit = 0;
  limits.multiPv = 1;
  limits.pondering.store(0);
  limits.stopRequested.store(0);
  limits.startMs = platform::nowMs();
}

inline const search::SearchResult& searchRoot(int depth, int drawScoreCp = 0, int strength = 100) {
  prepareLimits(depth, 1, 0, drawScoreCp, strength);
  search::runSearch();
  return search::lastSearch;
}

inline std::string moveText(board::Move m, bool black) {
  char text[8];
  board::moveToText(m, black, text);
  return text;
}

// Whether the last search's principal variation, played on a copy of the root, ends in checkmate.
inline bool pvMates(const search::SearchResult& result) {
  board::Position& pos = search::rootPosition();
  board::BoardState* const root = pos.current;
  for (int i = 0; i < result.pvLength; ++i) board::makeMove(pos, result.pv[i]);
  board::Move moves[board::MAX_MOVES];
  const bool mated = board::inCheck(pos) && board::generateLegalMoves(pos, moves) == moves;
  pos.current = root;
  return mated;
}

}  // namespace searchtest

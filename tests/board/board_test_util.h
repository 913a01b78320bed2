#pragma once
// Helpers for the board tests: positions from FEN text and moves from coordinate text.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/position.h"

namespace boardtest {

inline std::unique_ptr<board::Position> positionFromFen(const std::string& fen) {
  auto pos = std::make_unique<board::Position>();
  EXPECT_TRUE(board::setupFromFen(*pos, fen)) << fen;
  return pos;
}

// The legal move of the current record whose text is `text`, or 0.
inline board::Move legalMoveFromText(board::Position& pos, const std::string& text) {
  board::Move moves[board::MAX_MOVES];
  board::Move* end = board::generateLegalMoves(pos, moves);
  const bool black = board::blackToMove(board::currentState(pos));
  for (board::Move* m = moves; m != end; ++m) {
    char buffer[6];
    board::moveToText(*m, black, buffer);
    if (text == buffer) return *m;
  }
  return 0;
}

// Plays blank-separated legal moves; fails the test on a move that is not legal.
inline void playMoves(board::Position& pos, const std::string& moves) {
  std::istringstream in(moves);
  std::string word;
  while (in >> word) {
    const board::Move move = legalMoveFromText(pos, word);
    ASSERT_NE(move, 0u) << "not legal: " << word;
    board::makeMove(pos, move);
  }
}

inline std::vector<board::Move> legalMoves(board::Position& pos) {
  board::Move moves[board::MAX_MOVES];
  board::Move* end = board::generateLegalMoves(pos, moves);
  return std::vector<board::Move>(moves, end);
}

inline std::string fenOf(const board::Position& pos) {
  char buffer[128];
  board::positionToFen(pos, buffer, sizeof buffer);
  return buffer;
}

}  // namespace boardtest

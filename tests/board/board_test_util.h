#pragma once
// Helpers for the board tests: positions from FEN text, moves as coordinate text.
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

// Plays blank-separated legal moves; fails the test on a move that is not legal.
inline void playMoves(board::Position& pos, const std::string& moves) {
  std::istringstream in(moves);
  for (std::string word; in >> word;) {
    const board::Move move = board::legalMoveFromText(pos, word.c_str());
    ASSERT_NE(move, 0u) << "not legal: " << word;
    board::makeMove(pos, move);
  }
}

inline std::vector<board::Move> legalMoves(board::Position& pos) {
  board::Move moves[board::MAX_MOVES];
  return std::vector<board::Move>(moves, board::generateLegalMoves(pos, moves));
}

inline std::string moveText(const board::Position& pos, board::Move m) {
  char buffer[6];
  board::moveToText(m, board::blackToMove(board::currentState(pos)), buffer);
  return buffer;
}

inline std::string fenOf(const board::Position& pos) {
  char buffer[128];
  board::positionToFen(pos, buffer, sizeof buffer);
  return buffer;
}

}  // namespace boardtest

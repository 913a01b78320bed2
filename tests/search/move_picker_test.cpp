// The staged move picker, the static exchange evaluation and the hash-move check, against the legal
// move generator on the perft positions and their children.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <utility>
#include <random>
#include <string>
#include <vector>

#include "board/board_test_util.h"
#include "board/queries.h"
#include "search/move_picker.h"
#include "search/thread.h"
#include "support/engine_process.h"

namespace {

using board::Move;
using boardtest::legalMoves;

std::vector<std::string> perftFens() {
  std::vector<std::string> fens;
  const std::string dir = testsupport::dataDir();
  if (dir.empty()) return fens;
  std::ifstream in(dir + "/perft.epd");
  std::string line;
  while (std::getline(in, line)) {
    const size_t semicolon = line.find(';');
    if (semicolon != std::string::npos) fens.push_back(line.substr(0, semicolon));
  }
  return fens;
}

// Every move the picker hands out, in order.
std::vector<Move> pickAll(search::SearchThread& thread, int ply, Move ttMove, std::vector<int32_t>* scores = nullptr) {
  search::MovePicker picker;
  search::initPicker(picker, thread, ply, ttMove);
  std::vector<Move> moves;
  int32_t score = 0;
  while (const Move m = search::nextMove(thread, picker, score)) {
    moves.push_back(m);
    if (scores) scores->push_back(score);
  }
  return moves;
}

// The picker yields exactly the legal moves, each once and with its check mark, whatever the hash
// move and killers (including killers from other positions), in and out of check.
TEST(MovePicker, YieldsEachLegalMoveOnceWithItsCheckMark) {
  const std::vector<std::string> fens = perftFens();
  if (fens.empty()) GTEST_SKIP() << "perft.epd not found in the test data";
  search::SearchThread& thread = search::searchThreads[1];
  board::Position& pos = thread.position;
  std::mt19937 random(12345);
  std::vector<Move> foreignQuiets;
  int positions = 0;
  int inCheck = 0;
  for (const std::string& fen : fens) {
    ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
    const std::vector<Move> rootMoves = legalMoves(pos);
    for (size_t child = 0; child <= rootMoves.size(); ++child) {
      if (child > 0) board::makeMove(pos, rootMoves[child - 1]);
      std::vector<Move> expected = legalMoves(pos);
      std::vector<Move> quiets;
      for (const Move m : expected)
        if (!(m & (board::MOVE_CAPTURE | board::MOVE_PROMOTION))) quiets.push_back(board::withoutCheck(m));
      // Killers are quiet moves: from other positions, or from this one.
      const int ply = int(random() % 64);
      for (int slot = 0; slot < 2; ++slot) {
        thread.killers[ply][slot] = foreignQuiets.empty() ? 0 : foreignQuiets[random() % foreignQuiets.size()];
        if (ply >= 2) thread.killers[ply - 2][slot] = quiets.empty() ? 0 : quiets[random() % quiets.size()];
      }
      const Move ttMove = expected.empty() || random() % 3 == 0 ? 0 : expected[random() % expected.size()];
      std::vector<Move> picked = pickAll(thread, ply, ttMove);
      if (!picked.empty() && ttMove) {
        EXPECT_EQ(picked.front(), ttMove);
      }
      std::sort(expected.begin(), expected.end());
      std::sort(picked.begin(), picked.end());
      EXPECT_EQ(picked, expected) << fen << " child " << child;
      foreignQuiets.insert(foreignQuiets.end(), quiets.begin(), quiets.end());
      ++positions;
      inCheck += board::isInCheck(board::currentState(pos));
      if (child > 0) board::unmakeMove(pos);
    }
  }
  EXPECT_GT(inCheck, 50) << "too few positions in check among " << positions;
}

// However large a quiet move's history counter (saturated included), the move leads the quiets.
TEST(MovePicker, LargestHistoryLeadsTheQuiets) {
  search::SearchThread& thread = search::searchThreads[1];
  board::Position& pos = thread.position;
  thread.killers[4] = {};
  thread.killers[2] = {};
  ASSERT_TRUE(board::setupFromFen(pos, "4k3/8/8/8/8/8/PPP5/R3K3 w - - 0 1"));
  const board::BoardState& state = board::currentState(pos);
  const Move rook = board::legalMoveFromText(pos, "a1b1");  // a poor square gain: last among the quiets on placement alone
  const int32_t top = std::numeric_limits<int32_t>::max();
  for (const auto& counterAndTotal : {std::pair{top, top}, {top, 0}, {1500000000, 1500000000},
                                                             {300000000, 300000000}, {2400, 2400}}) {
    for (auto& bucket : thread.history) bucket.fill(0);
    thread.history[1][search::historyIndex(state, rook)] = counterAndTotal.first;
    thread.history[1][0] = counterAndTotal.second;
    const std::vector<Move> order = pickAll(thread, 4, 0);
    ASSERT_FALSE(order.empty());
    EXPECT_EQ(order.front(), rook) << counterAndTotal.first;
  }
  for (auto& bucket : thread.history) bucket.fill(0);
}

struct ExchangeCase {
  const char* fen;
  const char* move;
  int value;
};

TEST(StaticExchange, SwapOffValues) {
  const ExchangeCase cases[] = {
      {"4k3/8/4p3/3n4/2B5/8/8/4K3 w - - 0 1", "c4d5", 1238 - 1348},   // bishop for a defended knight
      {"4k3/8/4p3/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5", 1238 - 398},   // pawn for a defended knight
      {"4k3/8/8/4p3/3N4/4P3/8/4K3 b - - 0 1", "e5d4", 1238 - 398},   // the same, Black to move
      {"3r2k1/8/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 398},         // doubled rooks x-ray
      {"3r2k1/8/8/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", 398 - 1963},    // rook for a defended pawn
      {"4k3/8/8/3p4/8/8/8/2Q1K3 w - - 0 1", "c1c4", -3896},          // quiet queen move into a pawn
      {"3qk3/3r4/8/3p4/8/8/3R4/3QK3 w - - 0 1", "d2d5", 398 - 1963}, // the queen behind the rook loses to it
      {"k2r4/8/8/3pP3/8/8/8/3R3K w - d6 0 1", "e5d6", 0},           // en passant: the victim still blocks d-file
      {"3r3k/8/8/8/3Pp3/8/8/K2R4 b - d3 0 1", "e4d3", 0},           // the same, Black to move
  };
  board::Position& pos = search::searchThreads[1].position;
  for (const ExchangeCase& c : cases) {
    ASSERT_TRUE(board::setupFromFen(pos, c.fen)) << c.fen;
    const Move m = board::textToMove(pos, c.move);
    EXPECT_EQ(search::staticExchange(board::currentState(pos), m), c.value) << c.fen << " " << c.move;
  }
}

// A move word from anywhere fits a position exactly when it is one of its legal moves, and then gets
// the position's check mark.
TEST(HashMoveCheck, AcceptsExactlyTheLegalMoves) {
  const std::vector<std::string> fens = perftFens();
  if (fens.empty()) GTEST_SKIP() << "perft.epd not found in the test data";
  board::Position& pos = search::searchThreads[1].position;
  std::vector<Move> pool;
  for (const std::string& fen : fens) {
    ASSERT_TRUE(board::setupFromFen(pos, fen));
    for (const Move m : legalMoves(pos)) {
      pool.push_back(m);
      board::makeMove(pos, m);
      for (const Move reply : legalMoves(pos)) pool.push_back(reply);
      board::unmakeMove(pos);
    }
  }
  std::mt19937 random(777);
  for (int i = 0; i < 2000; ++i) pool.push_back(Move(random()) & 0x7FFFFFFFu);
  for (const std::string& fen : fens) {
    ASSERT_TRUE(board::setupFromFen(pos, fen));
    const std::vector<Move> legal = legalMoves(pos);
    for (size_t i = 0; i < pool.size(); i += 7) {
      Move m = pool[i];
      const auto it = std::find_if(legal.begin(), legal.end(),
                                   [&](Move l) { return board::withoutCheck(l) == board::withoutCheck(m); });
      const bool fits = search::fitsPosition(pos, m);
      ASSERT_EQ(fits, it != legal.end()) << fen << " move word " << std::hex << pool[i];
      EXPECT_TRUE(!fits || m == *it) << fen;
    }
  }
  // An en-passant capture never fits once the en-passant file is gone, nor castling out of check,
  // even with the squares it crosses free and safe.
  ASSERT_TRUE(board::setupFromFen(pos, "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1"));
  Move enPassant = board::textToMove(pos, "e5d6");
  ASSERT_TRUE(board::setupFromFen(pos, "4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1"));
  EXPECT_FALSE(search::fitsPosition(pos, enPassant));
  ASSERT_TRUE(board::setupFromFen(pos, "4k3/8/8/8/4r3/8/8/R3K2R w KQ - 0 1"));
  for (Move m : {board::CASTLE_KING_SIDE_MOVE, board::CASTLE_QUEEN_SIDE_MOVE}) EXPECT_FALSE(search::fitsPosition(pos, m));
}

}  // namespace

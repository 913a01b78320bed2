// Chess960 and Double Fischer Random on the board: the castling cases that standard chess never
// meets, the three forms of the castling field, and castling written in both notations. (Perft over
// the Chess960 suites is in perft_test.cpp, a game through the pipes in tests/uci.)
#include <gtest/gtest.h>

#include "board_test_util.h"

namespace {

using namespace boardtest;

// Each case: a position, a castling move in the king-takes-rook notation, and the position after it
// (empty: the move is not legal). Castling never resets the fifty-move count.
TEST(Chess960, CastlingCases) {
  struct Case {
    const char* what;
    const char* fen;
    const char* move;
    const char* after;
  };
  const Case cases[] = {
      {"king on g1 with the rook on h1: the king does not move", "4k3/8/8/8/8/8/8/6KR w H - 3 20", "g1h1",
       "4k3/8/8/8/8/8/8/5RK1 b - - 4 1"},
      {"king on f1 with the rook on g1: they swap", "4k3/8/8/8/8/8/8/5KR1 w G - 0 1", "f1g1",
       "4k3/8/8/8/8/8/8/5RK1 b - - 1 1"},
      {"the rook jumps over the king's square", "4k3/8/8/8/8/8/8/RK6 w A - 0 1", "b1a1",
       "4k3/8/8/8/8/8/8/2KR4 b - - 1 1"},
      {"the rook stays where it is", "4k3/8/8/8/8/8/8/4KR2 w F - 0 1", "e1f1", "4k3/8/8/8/8/8/8/5RK1 b - - 1 1"},
      {"Black, with the other side's right kept", "1r2k1r1/8/8/8/8/8/8/1R2K1R1 b GBgb - 7 30", "e8b8",
       "2kr2r1/8/8/8/8/8/8/1R2K1R1 w GB - 8 1"},
      {"a rook that shields the king's destination along the rank", "4k3/8/8/8/8/8/8/rR1K4 w B - 0 1", "d1b1", ""},
      {"a square the king crosses is attacked", "4k3/8/8/8/8/8/5r2/1K4R1 w G - 0 1", "b1g1", ""},
      {"a piece between the rook and its destination", "4k3/8/8/8/8/8/8/1KR1N3 w C - 0 1", "b1c1", ""},
      {"a piece on the king's destination", "4k3/8/8/8/8/8/8/3K2NR w H - 0 1", "d1h1", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto pos = positionFromFen(c.fen);
    ASSERT_TRUE(board::chess960) << c.fen;
    const board::Move move = board::legalMoveFromText(*pos, c.move);
    if (!*c.after) {
      EXPECT_EQ(move, 0u) << c.move;
      continue;
    }
    ASSERT_NE(move, 0u) << c.move;
    EXPECT_EQ(moveText(*pos, move), c.move);
    board::makeMove(*pos, move);
    EXPECT_EQ(fenOf(*pos), c.after);
    board::BoardState fresh = board::currentState(*pos);
    board::computeKeys(fresh);
    EXPECT_EQ(fresh.key, board::currentState(*pos).key);
  }
}

// A rook landing on f1 gives check along the f-file.
TEST(Chess960, ChecksByCastlingAreMarked) {
  const std::pair<const char*, const char*> cases[] = {
      {"5k2/8/8/8/8/8/8/4K2R w H - 0 1", "e1h1"},
      {"5k2/8/8/8/8/8/8/1K4R1 w G - 0 1", "b1g1"},
  };
  for (const auto& [fen, text] : cases) {
    auto pos = positionFromFen(fen);
    board::chess960 = true;
    const board::Move move = board::legalMoveFromText(*pos, text);
    ASSERT_NE(move, 0u) << fen;
    EXPECT_TRUE(move & board::MOVE_CHECK) << fen;
    board::makeMove(*pos, move);
    EXPECT_TRUE(board::isInCheck(board::currentState(*pos))) << fen;
  }
}

// "KQkq" (the outermost rook), rook files, and both mixed, colour by colour, name the same rights;
// an inner rook needs its file; a letter without its rook, or with the king off the back rank, is
// dropped.
TEST(Chess960, CastlingFieldForms) {
  const std::pair<const char*, const char*> same[] = {
      {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w KQkq - 0 1", "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1"},
      {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w KEkq - 0 1", "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GQgq - 0 1"},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R3K2R w HAha - 0 1"},
      {"4k3/8/8/8/8/8/8/1R2K1RR w K - 0 1", "4k3/8/8/8/8/8/8/1R2K1RR w H - 0 1"},
      {"4k3/8/8/8/8/8/4K3/R6R w KQ - 0 1", "4k3/8/8/8/8/8/4K3/R6R w - - 0 1"},
      {"4k3/8/8/8/8/8/8/4K2R w KQ - 0 1", "4k3/8/8/8/8/8/8/4K2R w K - 0 1"},
  };
  for (const auto& [a, b] : same) {
    auto x = positionFromFen(a);
    const bool x960 = board::chess960;
    auto y = positionFromFen(b);
    EXPECT_EQ(board::currentState(*x).key, board::currentState(*y).key) << a << " / " << b;
    EXPECT_EQ(x960, board::chess960) << a << " / " << b;
    EXPECT_EQ(fenOf(*x), fenOf(*y));
  }
  // The inner rook on g1 is another right than the outer one on h1: other keys, other moves.
  auto inner = positionFromFen("4k3/8/8/8/8/8/8/1R2K1RR w G - 0 1");
  EXPECT_EQ(fenOf(*inner), "4k3/8/8/8/8/8/8/1R2K1RR w G - 0 1");
  EXPECT_NE(board::legalMoveFromText(*inner, "e1g1"), 0u);
  EXPECT_EQ(board::legalMoveFromText(*inner, "e1h1"), 0u);
}

// A standard position writes castling as the king's two steps, reads the king taking its rook too,
// and writes that with UCI_Chess960 on; a Chess960 position reads only the king taking its rook.
TEST(Chess960, NotationInBothModes) {
  auto pos = positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  EXPECT_FALSE(board::chess960);
  const board::Move kingSide = board::legalMoveFromText(*pos, "e1g1");
  ASSERT_NE(kingSide, 0u);
  EXPECT_EQ(board::legalMoveFromText(*pos, "e1h1"), kingSide);
  EXPECT_EQ(moveText(*pos, kingSide), "e1g1");
  EXPECT_EQ(moveText(*pos, board::legalMoveFromText(*pos, "e1a1")), "e1c1");
  board::chess960 = true;
  EXPECT_EQ(moveText(*pos, kingSide), "e1h1");
  EXPECT_EQ(moveText(*pos, board::legalMoveFromText(*pos, "e1c1")), "e1a1");
  playMoves(*pos, "e1h1");
  EXPECT_EQ(moveText(*pos, board::legalMoveFromText(*pos, "e8c8")), "e8a8");

  auto dfrc = positionFromFen("r3k2r/8/8/8/8/8/8/2R1K2R w HC - 0 1");
  EXPECT_TRUE(board::chess960);
  EXPECT_NE(board::legalMoveFromText(*dfrc, "e1h1"), 0u);
  EXPECT_NE(board::legalMoveFromText(*dfrc, "e1c1"), 0u);
  EXPECT_EQ(board::legalMoveFromText(*dfrc, "e1g1"), board::legalMoveFromText(*dfrc, "e1h1"));
  board::setupFromFen(*pos, board::START_FEN);  // leaves the standard rules for the tests after this one
}

}  // namespace

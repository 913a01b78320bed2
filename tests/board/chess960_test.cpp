// Chess960 and DFRC on the board: castling cases standard chess never meets, the castling field's
// forms, both notations. (Perft: perft_test.cpp; games through the pipes: threads_e2e_test.cpp.)
#include <gtest/gtest.h>

#include "board_test_util.h"

namespace {

using namespace boardtest;

// Each case: a position, a castling move in the king-takes-rook notation, and the position after it
// (empty: the move is not legal), with whether it gives check. Castling never resets the fifty-move
// count.
TEST(Chess960, CastlingCases) {
  struct Case {
    const char* what;
    const char* fen;
    const char* move;
    const char* after;
    bool check = false;
  };
  const Case cases[] = {
      {"king g1, rook h1: the king stays", "4k3/8/8/8/8/8/8/6KR w H - 3 20", "g1h1", "4k3/8/8/8/8/8/8/5RK1 b - - 4 1"},
      {"king f1, rook g1: they swap", "4k3/8/8/8/8/8/8/5KR1 w G - 0 1", "f1g1", "4k3/8/8/8/8/8/8/5RK1 b - - 1 1"},
      {"the rook jumps over the king", "4k3/8/8/8/8/8/8/RK6 w A - 0 1", "b1a1", "4k3/8/8/8/8/8/8/2KR4 b - - 1 1"},
      {"the rook stays", "4k3/8/8/8/8/8/8/4KR2 w F - 0 1", "e1f1", "4k3/8/8/8/8/8/8/5RK1 b - - 1 1"},
      {"Black; White's rights kept", "1r2k1r1/8/8/8/8/8/8/1R2K1R1 b GBgb - 7 30", "e8b8",
       "2kr2r1/8/8/8/8/8/8/1R2K1R1 w GB - 8 1"},
      {"the rook checks from f1", "5k2/8/8/8/8/8/8/1K4R1 w G - 0 1", "b1g1", "5k2/8/8/8/8/8/8/5RK1 b - - 1 1", true},
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
    EXPECT_EQ((move & board::MOVE_CHECK) != 0, c.check);
    board::makeMove(*pos, move);
    EXPECT_EQ(fenOf(*pos), c.after);
    EXPECT_EQ(board::isInCheck(board::currentState(*pos)), c.check);
    board::BoardState fresh = board::currentState(*pos);
    board::computeKeys(fresh);
    EXPECT_EQ(fresh.key, board::currentState(*pos).key);
  }
}

// "KQkq" (the outermost rook), rook files, and both mixed name the same rights; an inner rook needs
// its file; a letter without its rook, or with the king off the back rank, is dropped.
TEST(Chess960, CastlingFieldForms) {
  const std::pair<const char*, const char*> same[] = {
      {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w KQkq - 0 1", "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1"},
      {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w KEkq - 0 1", "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GQgq - 0 1"},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "r3k2r/8/8/8/8/8/8/R3K2R w HAha - 0 1"},
      {"4k3/8/8/8/8/8/4K3/R6R w KQ - 0 1", "4k3/8/8/8/8/8/4K3/R6R w - - 0 1"},
      {"4k3/8/8/8/8/8/8/4K2R w KQ - 0 1", "4k3/8/8/8/8/8/8/4K2R w K - 0 1"},
  };
  for (const auto& [a, b] : same) {
    auto x = positionFromFen(a);
    const bool x960 = board::chess960;
    auto y = positionFromFen(b);
    EXPECT_EQ(board::currentState(*x).key, board::currentState(*y).key) << a << " / " << b;
    EXPECT_EQ(x960, board::chess960) << a << " / " << b;
  }
  // The inner rook on g1 is another right than the outer one on h1: other keys, other moves.
  auto inner = positionFromFen("4k3/8/8/8/8/8/8/1R2K1RR w G - 0 1");
  EXPECT_EQ(fenOf(*inner), "4k3/8/8/8/8/8/8/1R2K1RR w G - 0 1");
  EXPECT_NE(board::legalMoveFromText(*inner, "e1g1"), 0u);
  EXPECT_EQ(board::legalMoveFromText(*inner, "e1h1"), 0u);
}

// A standard position writes castling as the king's two steps, reads the king taking its rook too,
// and writes that with UCI_Chess960 on.
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
  board::setupFromFen(*pos, board::START_FEN);  // leaves the standard rules for the tests after this one
}

}  // namespace

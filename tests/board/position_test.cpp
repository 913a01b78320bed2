// The position record on published keys, copying the history, and the make-move rules a random walk
// cannot see: repetition marks and the en-passant file only when a pawn can take.
#include <gtest/gtest.h>

#include <cstring>

#include "board/make_move.h"
#include "board/queries.h"
#include "board_test_util.h"

namespace {

using board::BoardState;
using boardtest::playMoves;
using boardtest::positionFromFen;

bool sameBytes(const BoardState& a, const BoardState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(PositionRecord, PublishedKeysAndLayout) {
  EXPECT_EQ(board::keyTable[0].zobrist, 0x4C95DDE8F64BF935ULL);
  EXPECT_EQ(board::keyTable[board::KEY_SIDE].zobrist, 0x880CE682057A77D3ULL);
  auto pos = positionFromFen(board::START_FEN);
  const BoardState& s = board::currentState(*pos);
  EXPECT_EQ(s.bb[0], 0x000000000000FFFFULL);  // the side to move's pieces
  EXPECT_EQ(board::pawns(s) | board::kings(s), 0x10FF00000000FF10ULL);
  EXPECT_EQ(board::knights(s) | board::queens(s), 0x4A0000000000004AULL);
  EXPECT_EQ(board::rooks(s) | board::bishops(s), 0xA5000000000000A5ULL);
  EXPECT_EQ(s.castling, 0x33);
  EXPECT_EQ(s.epFile, board::NO_EP_FILE);
  EXPECT_EQ(s.halfmoveClock | s.flags | s.psqMg | s.psqEg, 0);
  EXPECT_EQ(s.key, 0x34AB8A0582CDDF1FULL);
  EXPECT_EQ(s.pawnKey, 0x4680973448D8492BULL);

  playMoves(*pos, "e2e4");
  const BoardState& t = board::currentState(*pos);
  EXPECT_EQ(board::stackIndex(*pos), 1);
  EXPECT_EQ(t.bb[0], 0x000000000000FFFFULL);  // Black's pieces, in Black's view
  EXPECT_TRUE(board::pawns(t) & ~t.bb[0] & board::bit(36));
  EXPECT_EQ(t.flags, board::FLAG_BLACK);
  EXPECT_EQ(t.key, 0x61C16CD41F7A2E1EULL);
  EXPECT_EQ(t.pawnKey, 0x13EA71E5D56FB82AULL);
  // The pawn's placement gain from e2 to e4, seen from Black's side.
  EXPECT_EQ(t.psqMg, -(345 - 226));
  EXPECT_EQ(t.psqEg, -(346 - 399));
  // Black to move, White keeps only its king-side right: the side to move's rights are the low nibble.
  EXPECT_EQ(board::currentState(*positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R b K - 0 1")).castling, 0x20);
}

TEST(PositionRecord, CopyPositionCarriesTheHistoryRepetitionCanSee) {
  auto source = positionFromFen(board::START_FEN);
  auto destination = std::make_unique<board::Position>();
  playMoves(*source, "e2e4 e7e5 g1f3 b8c6 f1b5");  // two reversible moves after e7e5
  ASSERT_EQ(board::currentState(*source).halfmoveClock, 3);
  board::copyPosition(*source, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 3);
  for (int i = 0; i <= 3; ++i) EXPECT_TRUE(sameBytes(destination->states[i], source->current[i - 3])) << i;

  playMoves(*source, "g8f6 e1g1 f6e4");  // a capture: clock 0
  board::copyPosition(*source, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 0);
  EXPECT_TRUE(sameBytes(destination->states[0], board::currentState(*source)));

  // A set-up position's clock can exceed its history; the copy stops at the bottom.
  auto deep = positionFromFen("4k3/8/8/8/8/8/8/4K3 w - - 90 60");
  playMoves(*deep, "e1d1");
  board::copyPosition(*deep, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 1);
}

TEST(MakeMove, RepetitionMarks) {
  auto pos = positionFromFen(board::START_FEN);
  const auto repeated = [&pos] { return (board::currentState(*pos).flags & board::FLAG_REPETITION) != 0; };
  playMoves(*pos, "g1f3 g8f6 f3g1");
  EXPECT_FALSE(repeated());
  playMoves(*pos, "f6g8");
  EXPECT_TRUE(repeated());
  EXPECT_EQ(board::currentState(*pos).key, pos->states[0].key);
  playMoves(*pos, "b1c3");  // a new position
  EXPECT_FALSE(repeated());
}

TEST(MakeMove, EnPassantFileOnlyWhenAPawnCanTake) {
  auto pos = positionFromFen("rnbqkbnr/ppp1pppp/8/8/3p4/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  playMoves(*pos, "e2e4");
  EXPECT_EQ(board::currentState(*pos).epFile, 4);
  // Without a pawn beside it the double step leaves no en-passant file: the key equals that of the
  // same position set up without one.
  auto direct = positionFromFen("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
  playMoves(*direct, "e2e4");
  EXPECT_EQ(board::currentState(*direct).epFile, board::NO_EP_FILE);
  EXPECT_EQ(board::currentState(*direct).key, board::currentState(*positionFromFen("4k3/8/8/8/4P3/8/8/4K3 b - - 0 1")).key);
}

}  // namespace

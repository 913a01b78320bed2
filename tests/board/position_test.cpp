// The position record on published keys, and copying the history.
#include <gtest/gtest.h>

#include <cstring>

#include "board/make_move.h"
#include "board_test_util.h"

namespace {

using board::BoardState;
using boardtest::playMoves;
using boardtest::positionFromFen;

bool sameBytes(const BoardState& a, const BoardState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(PositionRecord, PublishedKeysAndLayout) {
  EXPECT_EQ(board::keyTable[0].zobrist, 0x4C95DDE8F64BF935ULL);
  EXPECT_EQ(board::keyTable[board::KEY_SIDE].zobrist, 0x880CE682057A77D3ULL);
  // The side to move's pieces, then the squares of pawn/bishop/queen, knight/bishop/king, rook/queen/king.
  const BoardState start = {{0xFFFF, 0x2CFF00000000FF2C, 0x7600000000000076, 0x9900000000000099},
                            0, 0x33, board::NO_EP_FILE, 0, 0, 0, 0x34AB8A0582CDDF1FULL, 0x4680973448D8492BULL};
  auto pos = positionFromFen(board::START_FEN);
  EXPECT_TRUE(sameBytes(board::currentState(*pos), start));
  // After e2e4 in Black's view, the pawn's placement gain from e2 to e4 on the other side.
  const BoardState e4 = {{0xFFFF, 0x2CEF00100000FF2C, 0x7600000000000076, 0x9900000000000099},
                         board::FLAG_BLACK, 0x33, board::NO_EP_FILE, 0, -(345 - 226), -(346 - 399),
                         0x61C16CD41F7A2E1EULL, 0x13EA71E5D56FB82AULL};
  playMoves(*pos, "e2e4");
  EXPECT_TRUE(sameBytes(board::currentState(*pos), e4));
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

}  // namespace

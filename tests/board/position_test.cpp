// The position record, mirroring, copying, keys and make-move on published values.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "board/make_move.h"
#include "board/queries.h"
#include "board_test_util.h"

namespace {

using board::BoardState;
using boardtest::playMoves;
using boardtest::positionFromFen;

bool sameBytes(const BoardState& a, const BoardState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(KeyTable, GeneratorOutputs) {
  EXPECT_EQ(board::keyTable[0].zobrist, 0x4C95DDE8F64BF935ULL);
  EXPECT_EQ(board::keyTable[board::KEY_SIDE].zobrist, 0x880CE682057A77D3ULL);
}

TEST(PositionRecord, StartPositionAndAfterE4) {
  auto pos = positionFromFen(board::START_FEN);
  const BoardState& s = board::currentState(*pos);
  EXPECT_EQ(s.bb[0], 0x000000000000FFFFULL);
  EXPECT_EQ(board::pawns(s), 0x00FF00000000FF00ULL);
  EXPECT_EQ(board::knights(s), 0x4200000000000042ULL);
  EXPECT_EQ(board::kings(s), 0x1000000000000010ULL);
  EXPECT_EQ(board::queens(s), 0x0800000000000008ULL);
  EXPECT_EQ(board::rooks(s), 0x8100000000000081ULL);
  EXPECT_EQ(board::bishops(s), 0x2400000000000024ULL);
  EXPECT_EQ(s.castling, 0x33);
  EXPECT_EQ(s.epFile, board::NO_EP_FILE);
  EXPECT_EQ(s.halfmoveClock, 0);
  EXPECT_EQ(s.flags, 0);
  EXPECT_EQ(s.key, 0x34AB8A0582CDDF1FULL);
  EXPECT_EQ(s.pawnKey, 0x4680973448D8492BULL);
  EXPECT_EQ(s.psqMg, 0);
  EXPECT_EQ(s.psqEg, 0);

  playMoves(*pos, "e2e4");
  const BoardState& t = board::currentState(*pos);
  EXPECT_EQ(board::stackIndex(*pos), 1);
  EXPECT_EQ(t.bb[0], 0x000000000000FFFFULL);  // Black's pieces, in Black's view
  EXPECT_TRUE(board::pawns(t) & ~t.bb[0] & board::bit(36));
  EXPECT_EQ(t.flags, board::FLAG_BLACK);
  EXPECT_EQ(t.castling, 0x33);
  EXPECT_EQ(t.key, 0x61C16CD41F7A2E1EULL);
  EXPECT_EQ(t.pawnKey, 0x13EA71E5D56FB82AULL);
  EXPECT_EQ(t.epFile, board::NO_EP_FILE);
  EXPECT_EQ(t.halfmoveClock, 0);
  // The pawn's placement gain from e2 to e4, seen from Black's side.
  EXPECT_EQ(t.psqMg, -(345 - 226));
  EXPECT_EQ(t.psqEg, -(346 - 399));
}

TEST(PositionRecord, MirrorTwiceIsIdentity) {
  std::mt19937_64 rng(12345);
  for (int i = 0; i < 2000; ++i) {
    BoardState s;
    // Any bit pattern: mirroring is an involution on the record's bits.
    uint64_t words[7];
    for (uint64_t& w : words) w = rng();
    std::memcpy(&s, words, sizeof s);
    const BoardState before = s;
    board::mirrorPosition(s);
    board::mirrorPosition(s);
    ASSERT_TRUE(sameBytes(s, before)) << i;
  }
}

TEST(PositionRecord, CastlingNibblesAfterMirror) {
  // Black to move, White keeps only its king-side right.
  auto pos = positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R b K - 0 1");
  EXPECT_EQ(board::currentState(*pos).castling, 0x20);
}

TEST(PositionRecord, CopyPositionCarriesTheHistoryRepetitionCanSee) {
  auto source = positionFromFen(board::START_FEN);
  auto destination = std::make_unique<board::Position>();
  playMoves(*source, "e2e4 e7e5 g1f3 b8c6 f1b5");  // two reversible moves after e7e5
  const BoardState& top = board::currentState(*source);
  ASSERT_EQ(top.halfmoveClock, 3);
  board::copyPosition(*source, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 3);
  for (int i = 0; i <= 3; ++i)
    EXPECT_TRUE(sameBytes(destination->states[i], source->current[i - 3])) << i;

  playMoves(*source, "g8f6 e1g1 f6e4");  // a capture: clock 0
  ASSERT_EQ(board::currentState(*source).halfmoveClock, 0);
  board::copyPosition(*source, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 0);
  EXPECT_TRUE(sameBytes(destination->states[0], board::currentState(*source)));

  // A set-up position's clock can exceed its history; the copy stops at the bottom.
  auto deep = positionFromFen("4k3/8/8/8/8/8/8/4K3 w - - 90 60");
  playMoves(*deep, "e1d1");
  board::copyPosition(*deep, *destination);
  EXPECT_EQ(board::stackIndex(*destination), 1);
}

TEST(MakeMove, RepetitionAfterKnightsReturn) {
  auto pos = positionFromFen(board::START_FEN);
  playMoves(*pos, "g1f3 g8f6 f3g1");
  EXPECT_FALSE(board::currentState(*pos).flags & board::FLAG_REPETITION);
  playMoves(*pos, "f6g8");
  EXPECT_TRUE(board::currentState(*pos).flags & board::FLAG_REPETITION);
  EXPECT_EQ(board::currentState(*pos).halfmoveClock, 4);
  EXPECT_EQ(board::currentState(*pos).key, pos->states[0].key);
  playMoves(*pos, "b1c3");  // a new position
  EXPECT_FALSE(board::currentState(*pos).flags & board::FLAG_REPETITION);
}

TEST(MakeMove, EnPassantFileOnlyWhenAPawnCanTake) {
  auto pos = positionFromFen("rnbqkbnr/ppp1pppp/8/8/3p4/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  const uint64_t before = board::currentState(*pos).key;
  playMoves(*pos, "e2e4");
  const BoardState& s = board::currentState(*pos);
  EXPECT_EQ(s.epFile, 4);
  BoardState recomputed = s;
  board::computeKeys(recomputed);
  EXPECT_EQ(recomputed.key, s.key);
  EXPECT_NE(before, s.key);
  // Without a pawn beside it the double step leaves no en-passant file: the key equals that of the
  // same position set up without one.
  auto direct = positionFromFen("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
  playMoves(*direct, "e2e4");
  EXPECT_EQ(board::currentState(*direct).epFile, board::NO_EP_FILE);
  auto setUp = positionFromFen("4k3/8/8/8/4P3/8/8/4K3 b - - 0 1");
  EXPECT_EQ(board::currentState(*direct).key, board::currentState(*setUp).key);
}

TEST(MakeMove, CastlingRightsAndRookMoves) {
  auto pos = positionFromFen("r3k2r/8/8/8/8/8/6B1/R3K2R w KQkq - 0 1");
  // Bishop takes the h8 rook: Black loses its king-side right with its key.
  playMoves(*pos, "g2a8");
  BoardState s = board::currentState(*pos);
  EXPECT_EQ(s.castling, 0x32) << int(s.castling);  // Black (to move): king side only; White: both
  BoardState recomputed = s;
  board::computeKeys(recomputed);
  EXPECT_EQ(recomputed.key, s.key);

  auto castle = positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  playMoves(*castle, "e1g1");
  s = board::currentState(*castle);
  board::mirrorPosition(s);  // back to White's view
  EXPECT_EQ(board::kings(s) & s.bb[0], board::bit(6));
  EXPECT_EQ(board::rooks(s) & s.bb[0], board::bit(0) | board::bit(5));
  EXPECT_EQ(s.castling & 0x03, 0);
  EXPECT_EQ(s.castling & 0x30, 0x30);

  auto kingMove = positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1");
  playMoves(*kingMove, "e8d8");
  s = board::currentState(*kingMove);
  EXPECT_EQ(s.castling, 0x03);  // White (to move) keeps both, Black has none
  recomputed = s;
  board::computeKeys(recomputed);
  EXPECT_EQ(recomputed.key, s.key);
}

TEST(MakeMove, UnmakeRestoresAndNullMove) {
  auto pos = positionFromFen("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  const BoardState before = board::currentState(*pos);
  for (board::Move m : boardtest::legalMoves(*pos)) {
    board::makeMove(*pos, m);
    board::unmakeMove(*pos);
    ASSERT_TRUE(sameBytes(board::currentState(*pos), before));
    ASSERT_EQ(board::stackIndex(*pos), 0);
  }

  auto ep = positionFromFen("4k3/8/8/8/3p4/8/4P3/4K3 w - - 7 1");
  playMoves(*ep, "e2e4");
  ASSERT_EQ(board::currentState(*ep).epFile, 4);
  board::makeNullMove(*ep);
  BoardState s = board::currentState(*ep);
  EXPECT_EQ(s.flags & board::FLAG_BLACK, 0);
  EXPECT_EQ(s.epFile, board::NO_EP_FILE);
  EXPECT_EQ(s.halfmoveClock, 0);
  BoardState recomputed = s;
  board::computeKeys(recomputed);
  EXPECT_EQ(recomputed.key, s.key);
  EXPECT_EQ(recomputed.pawnKey, s.pawnKey);
  // Three more plies of king moves can never repeat across the null move.
  playMoves(*ep, "e1d1 e8d8 d1e1");
  EXPECT_FALSE(board::currentState(*ep).flags & board::FLAG_REPETITION);
}

}  // namespace

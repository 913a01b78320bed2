// Move words: text in both directions and the packed form of the transposition table.
#include <gtest/gtest.h>

#include <string>

#include "board/move.h"
#include "board_test_util.h"

namespace {

using boardtest::playMoves;
using boardtest::positionFromFen;

std::string text(board::Move m, bool black) {
  char buffer[6];
  board::moveToText(m, black, buffer);
  return buffer;
}

TEST(MoveWords, TextToMoveEdgeCases) {
  auto pos = positionFromFen(board::START_FEN);
  EXPECT_EQ(board::textToMove(*pos, "e2e4"), 0x001C0C01u);
  EXPECT_EQ(board::textToMove(*pos, "e2e4\n"), 0x001C0C01u);
  playMoves(*pos, "e2e4");
  EXPECT_EQ(board::textToMove(*pos, "e7e5"), 0x001C0C01u);

  auto castle = positionFromFen("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
  const board::Move kingSide = board::textToMove(*castle, "e1g1");
  EXPECT_EQ(kingSide, 0x00060446u);
  EXPECT_EQ(text(kingSide, false), "e1g1");
  EXPECT_EQ(text(kingSide, true), "e8g8");
  EXPECT_EQ(board::textToMove(*castle, "e1c1"), 0x00020446u);

  auto promote = positionFromFen("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(board::textToMove(*promote, "a7a8q"), 0x50383021u);
  EXPECT_EQ(board::movePromotion(board::textToMove(*promote, "a7a8n")), board::KNIGHT);
  EXPECT_EQ(text(board::textToMove(*promote, "a7a8n"), false), "a7a8n");
  // Without a letter a promotion reads as a queen.
  EXPECT_EQ(board::textToMove(*promote, "a7a8"), 0x50383021u);
  auto promoteCapture = positionFromFen("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(board::textToMove(*promoteCapture, "b7a8q"), 0x54383129u);
  auto rookOnA8 = positionFromFen("r3k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(board::textToMove(*rookOnA8, "a7a8q"), 0x54383029u);  // read as written, not validated
  auto ep = positionFromFen("4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1");
  EXPECT_EQ(board::textToMove(*ep, "d5e6"), board::makeMoveWord(board::PAWN, 35, 44, board::PAWN, 0,
                                                                 board::MOVE_CAPTURE | board::MOVE_EN_PASSANT));

  // Text that is not a move of an own piece gives no move.
  for (const char* bad : {"", "e2", "e2e", "i2e4", "e9e4", "e3e4", "e8e7"}) {
    EXPECT_EQ(board::textToMove(*castle, bad), 0u) << bad;
  }
}

TEST(MoveWords, LegalMoveFromText) {
  auto pos = positionFromFen("r3k2r/P7/8/8/8/8/8/R3K1NR w KQkq - 0 1");
  EXPECT_EQ(board::legalMoveFromText(*pos, "e1c1"), board::CASTLE_QUEEN_SIDE_MOVE);
  EXPECT_EQ(board::legalMoveFromText(*pos, "e1g1"), 0u);  // g1 occupied
  EXPECT_EQ(board::legalMoveFromText(*pos, "a1a6"), board::makeMoveWord(board::ROOK, 0, 40));
  EXPECT_EQ(board::legalMoveFromText(*pos, "a1a8"), 0u);  // own pawn in the way
  EXPECT_EQ(board::legalMoveFromText(*pos, "a7b8"), 0u);  // nothing to capture
  // a7xa8 is no pawn move; the queen promotion by capture is b-file only: none here.
  EXPECT_EQ(board::legalMoveFromText(*pos, "a7a8q"), 0u);
  EXPECT_EQ(board::legalMoveFromText(*pos, "g1f3"), board::makeMoveWord(board::KNIGHT, 6, 21));
  EXPECT_EQ(board::legalMoveFromText(*pos, "junk"), 0u);
  auto check = positionFromFen("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1");
  EXPECT_EQ(board::legalMoveFromText(*check, "a1a8"), board::makeMoveWord(board::ROOK, 0, 56, 0, 0, board::MOVE_CHECK));
}

TEST(MoveWords, PackAndUnpack) {
  auto pos = positionFromFen("r3k2r/1P6/8/8/8/8/8/R3K2R w KQkq - 0 1");
  // Capturing promotion to a rook with check (the rook on a8 attacks e8 along the rank).
  board::Move m = board::makeMoveWord(board::PAWN, 49, 56, board::ROOK, board::ROOK,
                                      board::MOVE_PROMOTION | board::MOVE_CAPTURE | board::MOVE_CHECK);
  const board::PackedMove packed = board::packMove(m);
  EXPECT_EQ(packed & 0xFFF, 49 | 56 << 6);
  EXPECT_EQ(packed & 0x4000, 0x4000);
  EXPECT_EQ((packed >> 12) & 3, 2);
  EXPECT_EQ(packed & 0x8000, 0x8000);
  EXPECT_EQ(board::unpackMove(*pos, packed), m);

  EXPECT_EQ(board::packMove(board::CASTLE_KING_SIDE_MOVE), 0x1000 | 4 | 6 << 6);
  EXPECT_EQ(board::unpackMove(*pos, board::PackedMove(0x1000 | 17 | 6 << 6)), board::CASTLE_KING_SIDE_MOVE);
  EXPECT_EQ(board::unpackMove(*pos, 0), 0u);

  // Every legal move of a few positions survives the round trip.
  for (const char* fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                          "4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1", "r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1",
                          "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8"}) {
    auto p = positionFromFen(fen);
    for (board::Move legal : boardtest::legalMoves(*p)) {
      EXPECT_EQ(board::unpackMove(*p, board::packMove(legal)), legal) << fen << " " << std::hex << legal;
      EXPECT_EQ(board::textToMove(*p, text(legal, board::blackToMove(board::currentState(*p))).c_str()),
                board::withoutCheck(legal));
    }
  }
}

}  // namespace

// Move words from text (the random walk checks the text and packed round trips of every legal move).
#include <gtest/gtest.h>

#include "board/move.h"
#include "board_test_util.h"

namespace {

using boardtest::positionFromFen;

// textToMove reads the text against the record without validating it (no check mark);
// legalMoveFromText gives the legal move, with its check mark, or 0.
TEST(MoveWords, FromText) {
  constexpr board::Move ANY = ~0u;  // not checked
  const char* const castle = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
  const char* const promote = "4k3/P7/8/8/8/8/8/4K3 w - - 0 1";
  const char* const rooks = "r3k2r/P7/8/8/8/8/8/R3K1NR w KQkq - 0 1";
  struct Case {
    const char* fen;
    const char* text;
    board::Move word, legal;
  };
  const Case cases[] = {
      {board::START_FEN, "e2e4", 0x001C0C01u, 0x001C0C01u},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "e7e5", 0x001C0C01u, 0x001C0C01u},
      {castle, "e1g1", 0x00060446u, 0x00060446u},
      {promote, "a7a8q", 0x50383021u, 0x50383021u | board::MOVE_CHECK},
      {promote, "a7a8", 0x50383021u, ANY},  // without a letter a promotion reads as a queen
      {"r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b7a8q", 0x54383129u, 0x54383129u | board::MOVE_CHECK},
      {"r3k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q", 0x54383029u, 0},
      {"4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1", "d5e6",
       board::makeMoveWord(board::PAWN, 35, 44, board::PAWN, 0, board::MOVE_CAPTURE | board::MOVE_EN_PASSANT), ANY},
      {rooks, "e1c1", ANY, board::CASTLE_QUEEN_SIDE_MOVE},
      {rooks, "e1g1", ANY, 0},  // g1 occupied
      {rooks, "a1a8", ANY, 0},  // own pawn in the way
      {rooks, "a7a8q", ANY, 0},
      {rooks, "g1f3", ANY, board::makeMoveWord(board::KNIGHT, 6, 21)},
      {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a8", ANY, board::makeMoveWord(board::ROOK, 0, 56, 0, 0, board::MOVE_CHECK)},
  };
  for (const Case& c : cases) {
    auto pos = positionFromFen(c.fen);
    const board::Move word = board::textToMove(*pos, c.text), legal = board::legalMoveFromText(*pos, c.text);
    EXPECT_TRUE(c.word == ANY || word == c.word) << c.fen << " " << c.text << std::hex << " " << word;
    EXPECT_TRUE(c.legal == ANY || legal == c.legal) << c.fen << " " << c.text << std::hex << " " << legal;
  }
  // Text that is not a move of an own piece gives no move.
  auto pos = positionFromFen(castle);
  for (const char* bad : {"", "e2", "e2e", "i2e4", "e9e4", "e3e4", "e8e7", "junk"}) {
    EXPECT_EQ(board::textToMove(*pos, bad), 0u) << bad;
    EXPECT_EQ(board::legalMoveFromText(*pos, bad), 0u) << bad;
  }
}

}  // namespace

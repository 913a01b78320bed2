// Reading and writing FEN: valid texts, refused texts, and what is dropped silently.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "board/fen.h"
#include "board_test_util.h"

namespace {

using boardtest::fenOf;
using boardtest::positionFromFen;

TEST(Fen, InvalidTextsAreRefusedAndLeaveThePositionAlone) {
  const char* const S = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR";  // + " w KQkq - 0 1" is valid
  const std::string invalid[] = {
      "", "   ", S,  // no side to move
      std::string(S) + " x KQkq - 0 1",
      "rnbqkbnr/pppppppp/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",      // seven ranks
      std::string(S) + "/8 w KQkq - 0 1",                            // nine ranks
      "rnbqkbnr/ppppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",   // nine squares in a rank
      "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNX w KQkq - 0 1",    // unknown letter
      "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQ1BNR w kq - 0 1",      // no White king
      "4k3/8/8/8/8/8/8/3KK3 w - - 0 1",                              // two White kings
      "P3k3/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/8/p3K3 w - - 0 1",  // pawns on the last ranks
      "4k3/8/8/8/P7/8/PPPPPPPP/4K3 w - - 0 1",                       // nine pawns
      "4k3/8/8/NNNNNNNN/NNNNNNNN/8/8/4K3 w - - 0 1",                 // seventeen pieces
      "4k3/4R3/8/8/8/8/8/6K1 w - - 0 1",                             // Black, not to move, in check
      "8/8/8/8/8/8/3k4/4K3 b - - 0 1",                               // kings side by side
      std::string(S) + " w KQkx - 0 1", std::string(S) + " w KQkq e9 0 1",  // castling letter, en passant
      std::string(S) + " w KQkq - x 1", std::string(S) + " w KQkq - -1 1",  // halfmove clock
      std::string(S) + " w KQkq - 0 y",                              // fullmove number
      std::string(S) + " w KQkq - 0 1 more",                         // a seventh field
  };
  auto pos = positionFromFen("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  boardtest::playMoves(*pos, "e1g1 a8b8");
  const board::BoardState before = board::currentState(*pos);
  const board::BoardState bottom = pos->states[0];
  for (const std::string& fen : invalid) {
    EXPECT_FALSE(board::setupFromFen(*pos, fen)) << fen;
    EXPECT_EQ(board::stackIndex(*pos), 2) << fen;
    EXPECT_EQ(std::memcmp(&board::currentState(*pos), &before, sizeof before), 0) << fen;
    EXPECT_EQ(std::memcmp(&pos->states[0], &bottom, sizeof bottom), 0) << fen;
  }
}

TEST(Fen, ValidTextsAndDefaults) {
  struct Case { const char* fen; const char* written; };  // written: positionToFen of fen
  const Case cases[] = {
      {board::START_FEN, board::START_FEN},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
       "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1"},
      // Missing clock fields read as 0 and 1; trailing line ends and extra blanks are fine.
      {"4k3/8/8/8/8/8/8/4K3 w - -", "4k3/8/8/8/8/8/8/4K3 w - - 0 1"},
      {"4k3/8/8/8/8/8/8/4K3 b", "4k3/8/8/8/8/8/8/4K3 b - - 0 1"},
      {"4k3/8/8/8/8/8/8/4K3  w  -  -  12  40\r\n", "4k3/8/8/8/8/8/8/4K3 w - - 12 1"},
      // Rights without their king and rook at home, and an en-passant square without the pawn
      // that made the double step, are dropped.
      {"4k3/8/8/8/8/8/8/4K3 w KQkq e6 0 1", "4k3/8/8/8/8/8/8/4K3 w - - 0 1"},
      {"r3k3/8/8/8/8/8/8/4K2R w KQkq - 0 1", "r3k3/8/8/8/8/8/8/4K2R w Kq - 0 1"},
      // An en-passant square that no pawn can use is kept (its key is part of the position).
      {"4k3/8/8/4p3/8/8/8/4K3 w - e6 0 1", "4k3/8/8/4p3/8/8/8/4K3 w - e6 0 1"},
      // A huge clock saturates.
      {"4k3/8/8/8/8/8/8/4K3 w - - 99999999999999 1", "4k3/8/8/8/8/8/8/4K3 w - - 255 1"},
      // Two promoted queens with two pawns missing.
      {"4k3/8/8/8/8/QQQ5/PPPPPP2/4K3 w - - 0 1", "4k3/8/8/8/8/QQQ5/PPPPPP2/4K3 w - - 0 1"},
  };
  for (const Case& c : cases) {
    auto pos = positionFromFen(c.fen);
    EXPECT_EQ(fenOf(*pos), c.written) << c.fen;
    board::BoardState recomputed = board::currentState(*pos);
    board::computeKeys(recomputed);
    EXPECT_EQ(recomputed.key, board::currentState(*pos).key) << c.fen;
    EXPECT_EQ(board::stackIndex(*pos), 0);
  }
  // The key of a FEN with dropped rights equals the key without them.
  EXPECT_EQ(board::currentState(*positionFromFen("4k3/8/8/8/8/8/8/4K3 w KQkq e6 0 1")).key,
            board::currentState(*positionFromFen("4k3/8/8/8/8/8/8/4K3 w - - 0 1")).key);
}

}  // namespace

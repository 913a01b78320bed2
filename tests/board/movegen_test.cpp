// Generators and queries on hand-picked positions: order, check marks, pins, castling, evasions.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "board/queries.h"
#include "board_test_util.h"

namespace {

using board::Move;
using board::ScoredMove;
using boardtest::legalMoveFromText;
using boardtest::positionFromFen;

std::vector<std::string> texts(const board::Position& pos, const ScoredMove* first, const ScoredMove* last) {
  std::vector<std::string> result;
  for (; first != last; ++first) {
    char buffer[6];
    board::moveToText(first->move, board::blackToMove(board::currentState(pos)), buffer);
    result.push_back(buffer);
  }
  return result;
}

std::vector<std::string> legalTexts(board::Position& pos) {
  std::vector<std::string> result;
  for (Move m : boardtest::legalMoves(pos)) {
    char buffer[6];
    board::moveToText(m, board::blackToMove(board::currentState(pos)), buffer);
    result.push_back(buffer);
  }
  return result;
}

bool contains(const std::vector<std::string>& list, const std::string& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

TEST(MoveGeneration, StartPositionOrder) {
  auto pos = positionFromFen(board::START_FEN);
  ScoredMove list[board::MAX_MOVES];
  EXPECT_EQ(board::generateCaptures(*pos, list), list);
  ScoredMove* last = board::generateQuiets(*pos, list);
  const std::vector<std::string> expected = {"b1a3", "b1c3", "g1f3", "g1h3", "a2a3", "b2b3", "c2c3",
                                             "d2d3", "e2e3", "f2f3", "g2g3", "h2h3", "a2a4", "b2b4",
                                             "c2c4", "d2d4", "e2e4", "f2f4", "g2g4", "h2h4"};
  EXPECT_EQ(texts(*pos, list, last), expected);
  for (ScoredMove* m = list; m != last; ++m) EXPECT_EQ(m->score, 0x30000000);
  EXPECT_EQ(boardtest::legalMoves(*pos).size(), 20u);
}

TEST(MoveGeneration, PromotionsAndLegalOrder) {
  auto pos = positionFromFen("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = board::generateCaptures(*pos, list);
  ASSERT_EQ(last - list, 4);
  EXPECT_EQ(board::movePromotion(list[0].move), board::KNIGHT);
  EXPECT_EQ(list[3].score, 0x40000055);
  const std::vector<std::string> legal = legalTexts(*pos);
  ASSERT_FALSE(legal.empty());
  EXPECT_EQ(legal.front(), "a7a8q");
  EXPECT_EQ(legal.back(), "a7a8n");
  EXPECT_EQ(legal[legal.size() - 2], "a7a8b");
  EXPECT_EQ(legal[legal.size() - 3], "a7a8r");

  // Castling comes first, then captures by most valuable victim and least valuable attacker;
  // of equal scores the one generated last comes first.
  auto kiwipete = positionFromFen("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
  const std::vector<std::string> order = legalTexts(*kiwipete);
  ASSERT_EQ(order.size(), 48u);
  EXPECT_EQ(order[0], "e1g1");   // generated after e1c1, same score
  EXPECT_EQ(order[1], "e1c1");
  EXPECT_EQ(order[2], "e2a6");   // bishop takes bishop
  EXPECT_EQ(order[3], "f3f6");   // queen takes knight
  // Pawn victims: least valuable attacker first; of equal scores the later generated first.
  EXPECT_EQ(order[4], "d5e6");
  EXPECT_EQ(order[5], "g2h3");
  std::vector<std::string> knightCaptures(order.begin() + 6, order.begin() + 9);
  std::sort(knightCaptures.begin(), knightCaptures.end());
  EXPECT_EQ(knightCaptures, (std::vector<std::string>{"e5d7", "e5f7", "e5g6"}));
  EXPECT_EQ(order[9], "f3h3");
}

TEST(MoveGeneration, EvasionsDoubleCheckAndEnPassant) {
  auto doubleCheck = positionFromFen("B6b/8/8/8/2K5/5k2/8/b6B b - - 0 1");
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = board::generateEvasions(*doubleCheck, list);
  ASSERT_NE(last, list);
  for (ScoredMove* m = list; m != last; ++m) EXPECT_EQ(board::movePiece(m->move), board::KING);

  // The pawn that has just made its double step gives check; taking it en passant resolves it.
  auto pos = positionFromFen("8/8/8/k7/1Pp5/8/8/4K3 b - b3 0 1");
  ASSERT_TRUE(board::isInCheck(board::currentState(*pos)));
  last = board::generateEvasions(*pos, list);
  EXPECT_TRUE(contains(texts(*pos, list, last), "c4b3"));
  EXPECT_TRUE(contains(legalTexts(*pos), "c4b3"));
}

TEST(LegalityQueries, PinsAndKingSafety) {
  // A knight pinned on the e-file: generated, never legal.
  auto pinned = positionFromFen("4k3/4r3/8/8/8/8/4N3/4K3 w - - 0 1");
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = board::generateQuiets(*pinned, list);
  int knightMoves = 0;
  for (ScoredMove* m = list; m != last; ++m) {
    if (board::movePiece(m->move) != board::KNIGHT) continue;
    ++knightMoves;
    EXPECT_NE(board::leavesKingAttacked(*pinned, m->move), 0u);
  }
  EXPECT_EQ(knightMoves, 6);
  for (const std::string& text : legalTexts(*pinned)) EXPECT_NE(text.substr(0, 2), "e2");

  // En passant that takes both pawns off the fifth rank between king and rook.
  auto ep = positionFromFen("8/8/8/K2pP2r/8/8/8/7k w - d6 0 1");
  EXPECT_FALSE(contains(legalTexts(*ep), "e5d6"));
  EXPECT_TRUE(contains(legalTexts(*ep), "e5e6"));

  // A king stepping away from a checking rook along its file.
  auto file = positionFromFen("4r2k/8/8/8/8/8/4K3/8 w - - 0 1");
  ASSERT_TRUE(board::inCheck(*file));
  EXPECT_NE(board::leavesKingAttacked(*file, board::makeMoveWord(board::KING, 12, 4)), 0u);
  EXPECT_FALSE(contains(legalTexts(*file), "e2e1"));
  EXPECT_TRUE(contains(legalTexts(*file), "e2d1"));
}

TEST(CheckMarks, DirectAndDiscoveredChecks) {
  struct Case {
    const char* fen;
    const char* move;
    bool check;
  };
  const Case cases[] = {
      // Knight leaving the rook's file discovers check for every target.
      {"4k3/8/8/8/8/8/4N3/4R1K1 w - - 0 1", "e2c3", true},
      {"4k3/8/8/8/8/8/4N3/4R1K1 w - - 0 1", "e2g3", true},
      {"4k3/8/8/8/8/8/4N3/4R1K1 w - - 0 1", "e2d4", true},
      // A pawn pushing along the file between its rook and the king does not.
      {"4k3/8/8/8/8/8/4P3/4R1K1 w - - 0 1", "e2e3", false},
      {"4k3/8/8/8/8/8/4P3/4R1K1 w - - 0 1", "e2e4", false},
      // A pawn capture that opens a bishop's diagonal; the other capture keeps it closed.
      {"7k/8/8/2p5/3P4/8/8/B6K w - - 0 1", "d4c5", true},
      {"7k/8/8/2p5/3P4/8/8/1B5K w - - 0 1", "d4c5", false},
      // Promotion to a knight that attacks the king; to a queen that does not.
      {"8/1P1k4/8/8/8/8/8/4K3 w - - 0 1", "b7b8n", true},
      {"8/1P1k4/8/8/8/8/8/4K3 w - - 0 1", "b7b8q", false},
      // Castling with the opponent's king on the rook's new file.
      {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1", true},
      {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", true},
      {"2k5/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", false},
      // A king that leaves the line of its own rook; and one that stays on it.
      {"8/8/8/8/8/8/k3K2R/8 w - - 0 1", "e2e3", true},
      {"8/8/8/8/8/8/k3K2R/8 w - - 0 1", "e2d2", false},
      // En passant that opens a rank onto the king.
      {"8/8/8/k2pP2R/8/8/8/4K3 w - d6 0 1", "e5d6", true},
      // Black to move: a rook's direct check.
      {"4k3/8/8/8/8/8/r7/4K3 b - - 0 1", "a2a1", true},
  };
  for (const Case& c : cases) {
    auto pos = positionFromFen(c.fen);
    const Move move = legalMoveFromText(*pos, c.move);
    ASSERT_NE(move, 0u) << c.fen << " " << c.move;
    EXPECT_EQ((move & board::MOVE_CHECK) != 0, c.check) << c.fen << " " << c.move;
  }
}

TEST(Castling, AttackedAndOccupiedSquares) {
  struct Case {
    const char* fen;
    bool kingSide;
    bool queenSide;
  };
  const Case cases[] = {
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", true, true},
      {"3rk2r/8/8/8/8/8/8/R3K2R w KQk - 0 1", true, false},   // d1 attacked
      {"2r1k2r/8/8/8/8/8/8/R3K2R w KQk - 0 1", true, false},  // c1 attacked
      {"1r2k2r/8/8/8/8/8/8/R3K2R w KQk - 0 1", true, true},   // b1 attacked: allowed
      {"r3kr2/8/8/8/8/8/8/R3K2R w KQq - 0 1", false, true},   // f1 attacked
      {"r3k1r1/8/8/8/8/8/8/R3K2R w KQq - 0 1", false, true},  // g1 attacked
      {"r3k2r/8/8/8/8/8/8/RN2K1NR w KQkq - 0 1", false, false},
      {"r3k2r/8/8/8/8/8/8/R2QKB1R w KQkq - 0 1", false, false},
      {"r3k2r/8/8/8/8/8/4n3/R3K2R w KQkq - 0 1", false, false},  // in check: no castling
      {"r3k2r/8/8/8/8/8/5n2/R3K2R w KQkq - 0 1", true, false},   // knight f2 hits d1 and h1
      {"r3k2r/8/8/8/8/8/3p4/R3K2R w KQkq - 0 1", false, false},  // pawn d2 gives check
      {"r3k2r/8/8/8/8/8/6p1/R3K2R w KQkq - 0 1", false, true},   // pawn g2 hits f1 and h1
      {"r3k2r/8/8/8/8/8/1p6/R3K2R w KQkq - 0 1", true, false},   // pawn b2 hits c1 (and a1)
      {"r3k2r/8/8/8/8/7b/8/R3K2R w KQkq - 0 1", false, true},    // bishop h3 hits f1
      {"r3k2r/8/8/8/b7/8/8/R3K2R w KQkq - 0 1", true, false},    // bishop a4 hits d1
  };
  for (const Case& c : cases) {
    auto pos = positionFromFen(c.fen);
    const std::vector<std::string> legal = legalTexts(*pos);
    EXPECT_EQ(contains(legal, "e1g1"), c.kingSide) << c.fen;
    EXPECT_EQ(contains(legal, "e1c1"), c.queenSide) << c.fen;
    if (!board::isInCheck(board::currentState(*pos))) {
      EXPECT_EQ(board::canCastleKingSide(*pos), c.kingSide) << c.fen;
      EXPECT_EQ(board::canCastleQueenSide(*pos), c.queenSide) << c.fen;
      EXPECT_EQ(board::isPseudoLegalQuiet(*pos, board::CASTLE_KING_SIDE_MOVE), c.kingSide) << c.fen;
      EXPECT_EQ(board::isPseudoLegalQuiet(*pos, board::CASTLE_QUEEN_SIDE_MOVE), c.queenSide) << c.fen;
    }
  }
}

TEST(LegalityQueries, PseudoLegalQuietRefusesStaleKillers) {
  auto pos = positionFromFen("r3k2r/8/8/8/8/8/4P3/R3K1NR w KQkq - 0 1");
  const Move knight = board::makeMoveWord(board::KNIGHT, 6, 21);
  EXPECT_TRUE(board::isPseudoLegalQuiet(*pos, knight));
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, knight | board::MOVE_CHECK));
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::makeMoveWord(board::KNIGHT, 5, 20)));  // no knight
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::makeMoveWord(board::KNIGHT, 6, 12)));  // occupied
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::makeMoveWord(board::BISHOP, 6, 15)));  // wrong type
  EXPECT_TRUE(board::isPseudoLegalQuiet(*pos, board::makeMoveWord(board::PAWN, 12, 28)));
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::makeMoveWord(board::PAWN, 12, 36)));
  EXPECT_TRUE(board::isPseudoLegalQuiet(*pos, board::CASTLE_QUEEN_SIDE_MOVE));
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::CASTLE_KING_SIDE_MOVE));  // g1 occupied
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::CASTLE_QUEEN_SIDE_MOVE | board::MOVE_CHECK));
  boardtest::playMoves(*pos, "a1b1 a8b8 b1a1 b8a8");  // the right is gone, the rook is back
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::CASTLE_QUEEN_SIDE_MOVE));
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, 0xFFFF0000u | board::KNIGHT));
}

}  // namespace

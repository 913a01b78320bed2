// Recorded move orders: every node count of the search depends on the order in which the generators
// and generateLegalMoves hand out moves (ties included), so a handful of positions pin it down whole.
// A "+" marks a move that carries the check mark; captures and quiets also show their sort score.
#include <gtest/gtest.h>

#include <string>

#include "board/movegen.h"
#include "board/queries.h"
#include "board_test_util.h"

namespace {

using board::ScoredMove;

std::string moveText(const board::Position& pos, board::Move m) {
  char buffer[8];
  board::moveToText(m, board::blackToMove(board::currentState(pos)), buffer);
  return std::string(buffer) + (m & board::MOVE_CHECK ? "+" : "");
}

std::string listed(const board::Position& pos, const ScoredMove* first, const ScoredMove* last, bool scores) {
  std::string out;
  char score[16];
  for (; first != last; ++first) {
    out += moveText(pos, first->move);
    if (scores) std::snprintf(score, sizeof score, ":%x", unsigned(first->score)), out += score;
    out += ' ';
  }
  return out;
}

enum Generator { LEGAL, CAPTURES, QUIETS, EVASIONS, QUIET_CHECKS };

struct OrderCase {
  const char* fen;
  Generator generator;
  const char* expected;
};

std::string generate(board::Position& pos, Generator g) {
  if (g == LEGAL) {
    std::string out;
    for (board::Move m : boardtest::legalMoves(pos)) out += moveText(pos, m) + ' ';
    return out;
  }
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = g == CAPTURES ? board::generateCaptures(pos, list)
                     : g == QUIETS ? board::generateQuiets(pos, list)
                     : g == EVASIONS ? board::generateEvasions(pos, list)
                                     : board::generateQuietChecks(pos, list);
  return listed(pos, list, last, g == CAPTURES || g == QUIETS);
}

TEST(MoveOrder, RecordedOrders) {
  const OrderCase cases[] = {
      {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", LEGAL,
       "e1g1 e1c1 e2a6 f3f6 d5e6 g2h3 e5f7 e5d7 e5g6 f3h3 e5c4 e5d3 c3b5 c3a4 c3d1 c3b1 e2b5 e2c4 e2d3 e2f1 e2d1 d2h6 d2g5 d2f4 d2e3 d2c1 h1g1 h1f1 a1d1 a1c1 a1b1 f3h5 f3f5 f3g4 f3f4 f3g3 f3e3 f3d3 e1f1 e1d1 d5d6 g2g3 b2b3 a2a3 e5c6 g2g4 a2a4 e5g4 "},
      {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", LEGAL,
       "d2d4 c4c5 f3d4 b4c5 f1f2 g1h1 "},
      {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", LEGAL,
       "e1g1 d7c8q e1f2 c4f7 a2a4 h2h3 g2g3 c2c3 b2b3 a2a3 e2f4 e2d4 e2g3 e2c3 e2g1 b1c3 b1a3 b1d2 c4e6 c4a6 c4d5 c4b5 c4d3 c4b3 c1h6 c1g5 c1f4 c1e3 c1d2 h1g1 h1f1 d1d6 d1d5 d1d4 d1d3 d1d2 e1d2 e1f1 h2h4 b2b4 g2g4 d7c8r d7c8b d7c8n "},
      {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", CAPTURES,
       "f3h3:40000011 f3f6:40000021 e2a6:40000033 e5g6:40000014 e5d7:40000014 e5f7:40000014 g2h3:40000015 d5e6:40000015 "},
      {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", QUIETS,
       "e1d1:30000000 e1f1:30000000 f3d3:30000000 f3e3:30000000 f3g3:30000000 f3f4:30000000 f3g4:30000000 f3f5:30000000 f3h5:30000000 a1b1:30000000 a1c1:30000000 a1d1:30000000 h1f1:30000000 h1g1:30000000 d2c1:30000000 d2e3:30000000 d2f4:30000000 d2g5:30000000 d2h6:30000000 e2d1:30000000 e2f1:30000000 e2d3:30000000 e2c4:30000000 e2b5:30000000 c3b1:30000000 c3d1:30000000 c3a4:30000000 c3b5:30000000 e5d3:30000000 e5c4:30000000 e5g4:30000000 e5c6:30000000 a2a3:30000000 b2b3:30000000 g2g3:30000000 d5d6:30000000 a2a4:30000000 g2g4:30000000 e1c1:38000000 e1g1:38000000 "},
      {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", CAPTURES,
       "e1f2:40000020 c4f7:40000013 d7c8n:fffffffd d7c8b:fffffffe d7c8r:ffffffff d7c8q:40000055 "},
      {"r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3", QUIETS,
       "e8e7:30000000 d8e7:30000000 d8f6:30000000 d8g5:30000000 d8h4:30000000 a8b8:30000000 f8e7:30000000 f8d6:30000000 f8c5:30000000 f8b4:30000000 f8a3:30000000 g8e7:30000000 g8f6:30000000 g8h6:30000000 c6b8:30000000 c6e7:30000000 c6a5:30000000 c6b4:30000000 c6d4:30000000 a7a6:30000000 b7b6:30000000 d7d6:30000000 f7f6:30000000 g7g6:30000000 h7h6:30000000 a7a5:30000000 d7d5:30000000 f7f5:30000000 g7g5:30000000 h7h5:30000000 "},
      {"8/8/8/k7/1Pp5/8/8/4K3 b - b3 0 1", EVASIONS,
       "a5b4 a5a6 a5b6 a5b5 a5a4 c4b3 "},
      {"r3k2r/p1pNqpb1/bn2pnp1/3P4/1p2P3/2N2Q1p/PPPBBPPP/R3K2R b KQkq - 0 1", EVASIONS,
       "e8d7 e8d8 e8f8 "},
      {"4k3/8/8/8/8/8/4r3/R3K2R w KQ - 0 1", EVASIONS,
       "e1e2 e1d1 e1f1 e1d2 e1f2 "},
      {"4k3/8/3P4/8/4N3/8/1B6/4R1K1 w - - 0 1", QUIET_CHECKS,
       "e4d2+ e4f2+ e4c3+ e4g3+ e4c5+ e4g5+ e4f6+ d6d7+ "},
      {"3k4/8/1n6/8/3PN3/8/1B4Q1/R3K2R w KQ - 0 1", QUIET_CHECKS,
       "g2g5+ g2g8+ a1a8+ h1h8+ "},
      {"r1bqk2r/pppp1ppp/2n2n2/2b1p3/2B1P3/3P1N2/PPP2PPP/RNBQK2R b KQkq - 0 5", QUIET_CHECKS,
       "c5b4+ "},
  };
  for (const OrderCase& c : cases) {
    auto pos = boardtest::positionFromFen(c.fen);
    EXPECT_EQ(generate(*pos, c.generator), c.expected) << c.fen << " generator " << c.generator;
  }
}

}  // namespace

// The quiescence search on its own (stand pat, winning captures, quiet checks at its first ply only, the
// delta margin at its edge, evasions, fifty moves around a mate) and one full-width node's futility return.
#include <gtest/gtest.h>

#include "eval/eval.h"
#include "search/search.h"
#include "search_helpers.h"

namespace {

constexpr int INF = search::INFINITE_SCORE;
constexpr int PLY = 1;
constexpr int DELTA = 398 + 520;  // a pawn's exchange value and the margin

// Static evaluation of the root position.
int staticEval() {
  eval::EvalContext context;
  return eval::evaluate(search::rootPosition(), PLY, context);
}

struct QuiesceResult {
  int score;
  uint64_t nodes;
};

QuiesceResult runQuiesce(int nodeType, int depth, int alpha, int beta) {
  searchtest::newGame();
  search::SearchThread& thread = search::searchThreads[0];
  thread.nodes.store(0);
  search::searchLimits.drawScore = 0;
  const int score = search::quiesce(thread, nodeType, PLY, depth, alpha, beta);
  return {score, thread.nodes.load()};
}

TEST(Quiescence, ScoresAndPruning) {
  // Nothing to capture and no check: the stand pat.
  ASSERT_TRUE(searchtest::setRoot("4k3/8/8/8/8/8/3PP3/4K3 w - - 0 1"));
  EXPECT_EQ(runQuiesce(search::NODE_PV, 0, -INF, INF).score, staticEval());
  EXPECT_EQ(runQuiesce(search::NODE_PV, 0, -INF, INF).nodes, 1u);

  // A free queen is taken: the score is the evaluation after the capture.
  ASSERT_TRUE(searchtest::setRoot("4k3/8/8/3q4/8/8/8/3RK3 w - - 0 1"));
  const int before = staticEval();
  const int score = runQuiesce(search::NODE_PV, -1, -INF, INF).score;
  ASSERT_TRUE(searchtest::setRoot("4k3/8/8/3R4/8/8/8/4K3 b - - 0 1"));
  EXPECT_EQ(score, -staticEval());
  EXPECT_GT(score, before + 3000);
  // At the last ply the stack allows, the evaluation stands (in check: the draw value).
  ASSERT_TRUE(searchtest::setRoot("4k3/8/8/3q4/8/8/8/3RK3 w - - 0 1"));
  EXPECT_EQ(search::quiesce(search::searchThreads[0], search::NODE_PV, search::MAX_PLY - 1, 0, -INF, INF), before);
  ASSERT_TRUE(searchtest::setRoot("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1"));
  EXPECT_EQ(search::quiesce(search::searchThreads[0], search::NODE_PV, search::MAX_PLY - 1, 0, -INF, INF), 0);

  // The back-rank mate is a quiet check: found at depth 0, not generated below it.
  ASSERT_TRUE(searchtest::setRoot("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1"));
  EXPECT_EQ(runQuiesce(search::NODE_PV, 0, -INF, INF).score, board::MATE - PLY - 1);
  EXPECT_EQ(runQuiesce(search::NODE_PV, -1, -INF, INF).score, staticEval());

  // A non-PV node whose evaluation is 300 a ply above beta returns that much less before any move.
  ASSERT_TRUE(searchtest::setRoot("4k3/8/8/8/8/8/3PP3/3QK3 w - - 0 1"));
  const int high = staticEval();
  EXPECT_EQ(search::search(search::searchThreads[0], search::NODE_CUT, PLY, 2, high - 601, high - 600, 1), high - 600);

  // Delta pruning (never in PV nodes): a free pawn is taken unless winning it stays a margin below alpha.
  ASSERT_TRUE(searchtest::setRoot("7k/8/8/3p4/8/8/8/3RK3 w - - 0 1"));
  const int eval = staticEval();
  EXPECT_EQ(runQuiesce(search::NODE_ALL, -1, eval + DELTA, eval + DELTA + 1).nodes, 2u);
  EXPECT_EQ(runQuiesce(search::NODE_ALL, -1, eval + DELTA + 1, eval + DELTA + 2).nodes, 1u);
  EXPECT_EQ(runQuiesce(search::NODE_CUT, -1, eval + DELTA + 1, eval + DELTA + 2).nodes, 1u);
  EXPECT_EQ(runQuiesce(search::NODE_PV, -1, eval + DELTA + 1, eval + DELTA + 3).nodes, 2u);
  // A defended pawn taken by the rook loses the exchange: not searched even in a PV node.
  ASSERT_TRUE(searchtest::setRoot("7k/8/4p3/3p4/8/8/8/3RK3 w - - 0 1"));
  EXPECT_EQ(runQuiesce(search::NODE_PV, -1, -INF, INF).nodes, 1u);

  // Checkmated: the mate score of this ply; in check with a way out: a plain score.
  ASSERT_TRUE(searchtest::setRoot("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1"));
  EXPECT_EQ(runQuiesce(search::NODE_PV, 0, -INF, INF).score, PLY - board::MATE);
  ASSERT_TRUE(searchtest::setRoot("R5k1/5pp1/8/8/8/8/8/6K1 b - - 0 1"));
  EXPECT_FALSE(search::isMateScore(runQuiesce(search::NODE_PV, 0, -INF, INF).score));

  // Fifty moves: at a clock of 100 a mate still counts; above it (and out of check at 100) it is a draw.
  for (const int drawCp : {0, 30}) {
    ASSERT_TRUE(searchtest::setRoot("R5k1/5ppp/8/8/8/8/8/6K1 b - - 100 80"));
    EXPECT_EQ(runQuiesce(search::NODE_PV, 0, -INF, INF).score, PLY - board::MATE);
    ASSERT_TRUE(searchtest::setRoot("R5k1/5ppp/8/8/8/8/8/6K1 b - - 101 80"));
    search::searchLimits.drawScore = drawCp * 4;
    EXPECT_EQ(search::quiesce(search::searchThreads[0], search::NODE_PV, PLY, 0, -INF, INF), -drawCp * 4);
    ASSERT_TRUE(searchtest::setRoot("4k3/8/8/3q4/8/8/8/3RK3 w - - 100 80"));
    EXPECT_EQ(search::quiesce(search::searchThreads[0], search::NODE_PV, PLY + 1, 0, -INF, INF), drawCp * 4);
  }
  search::searchLimits.drawScore = 0;
}

}  // namespace

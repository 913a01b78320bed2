// Search results that cannot be wrong: mates, draws, stalemate, the single-move limit, time budgets.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "search/limits.h"
#include "search/search.h"
#include "search/time_manager.h"
#include "search/wdl.h"
#include "search_helpers.h"

namespace {

using searchtest::moveText;
using searchtest::searchRoot;
using searchtest::setRoot;

struct MateCase {
  const char* fen;
  int depth;
  int mateIn;  // "score mate" value: positive when the side to move mates
};

int displayedMate(int score) {
  return score >= 1 ? (board::MATE + 1 - score) / 2 : (-board::MATE - score) / 2;
}

TEST(Search, FindsForcedMatesWithAMatingPv) {
  const MateCase cases[] = {
      {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 6, 2},
      {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1", 8, 3},
      {"k7/p1p5/P1P5/8/8/8/8/K2R4 b - - 0 1", 4, -1},
  };
  for (const MateCase& c : cases) {
    searchtest::newGame();
    ASSERT_TRUE(setRoot(c.fen)) << c.fen;
    const search::SearchResult& r = searchRoot(c.depth);
    ASSERT_TRUE(search::isMateScore(r.score)) << c.fen << " score " << r.score;
    EXPECT_EQ(displayedMate(r.score), c.mateIn) << c.fen;
    EXPECT_EQ(r.pvLength, c.mateIn > 0 ? 2 * c.mateIn - 1 : -2 * c.mateIn) << c.fen;
    EXPECT_TRUE(searchtest::pvMates(r)) << c.fen;
  }
}

// Winning side: taking the knight, Black's last free piece, stalemates (and there is no mate in
// one); the rook manoeuvre mates instead.
TEST(Search, AvoidsAStalemateTrap) {
  searchtest::newGame();
  ASSERT_TRUE(setRoot("8/7R/8/8/8/7n/p1K5/k7 w - - 0 1"));
  for (const int depth : {2, 4, 9}) {
    const search::SearchResult& r = searchRoot(depth);
    EXPECT_NE(moveText(r.bestMove, false), "h7h3") << depth;
    EXPECT_GT(r.score, 0) << depth;
  }
  EXPECT_TRUE(search::isMateScore(search::lastSearch.score)) << search::lastSearch.score;
  EXPECT_TRUE(searchtest::pvMates(search::lastSearch));
}

// The only legal move: iterations stop at depth 8 without a depth limit.
TEST(Search, SingleLegalMoveStopsAtDepthEight) {
  searchtest::newGame();
  ASSERT_TRUE(setRoot("k7/8/8/8/8/8/6q1/7K w - - 0 1"));
  const search::SearchResult& r = searchRoot(63);
  EXPECT_EQ(r.depth, 8);
  EXPECT_EQ(moveText(r.bestMove, false), "h1g2");
}

// Down a queen and a rook, the side to move repeats the position (a draw worth DrawScore); with the
// halfmove clock at 99 every move draws by the fifty-move rule.
TEST(Search, RepetitionAndFiftyMoveDrawsScoreDrawScore) {
  for (const int drawCp : {0, 25, -100}) {
    searchtest::newGame();
    ASSERT_TRUE(setRoot("r2q3k/8/8/8/8/8/8/1N4K1 w - - 0 1", "b1c3 a8b8 c3b1 b8a8"));
    const search::SearchResult& repeat = searchRoot(6, drawCp);
    EXPECT_EQ(moveText(repeat.bestMove, false), "b1c3") << drawCp;
    EXPECT_EQ(repeat.score, 4 * drawCp);

    searchtest::newGame();
    ASSERT_TRUE(setRoot("7k/8/8/8/8/8/8/1Q4K1 w - - 99 80"));
    EXPECT_EQ(searchRoot(6, drawCp).score, 4 * drawCp) << drawCp;
  }
  // Without the history the same material is simply lost.
  searchtest::newGame();
  ASSERT_TRUE(setRoot("r2q3k/8/8/8/8/8/8/1N4K1 w - - 0 1"));
  EXPECT_LT(searchRoot(6).score, -2000);
}

// The wdl chances: summing to 1000, a negated score swaps win and loss, more score never fewer wins.
TEST(WdlModel, SumSymmetryAndOrder) {
  for (int moveNumber : {0, 1, 20, 40, 80, 120, 200}) {
    for (int score = -4000, previousWin = 0; score <= 4000; score += 20) {
      const search::WdlChances up = search::wdlChances(score, moveNumber), down = search::wdlChances(-score, moveNumber);
      EXPECT_TRUE(up.win + up.draw + up.loss == 1000 && up.draw >= 0 && up.win == down.loss && up.loss == down.win &&
                  up.win >= previousWin) << score << " " << moveNumber;
      previousWin = up.win;
    }
  }
}

struct BudgetCase {
  int64_t timeMs, incrementMs, movesToGo, movesPlayed, overheadMs;
  int64_t softAfter, hardAfter;
};

TEST(TimeManager, BudgetFormulas) {
  const BudgetCase cases[] = {
      {60000, 0, 0, 0, 0, 1250, 4000},       // no increment: t = 4T / 120
      {60000, 1000, 0, 30, 0, 5036, 16116},  // increment: t = 4T / 34 + I
      {10000, 0, 1, 0, 0, 2500, 5000},       // movetime 10000 (moves to go 1)
      {10000, 500, 0, 70, 0, 6250, 7500},    // divisor 4: t = min(T + I, T) = T, hard 3T / 4
      {-50, 0, 0, 0, 0, 0, 0},               // negative time reads as 0
      // The four cases with the overhead off and at 10 ms: the budget runs on T - overhead.
      {300, 0, 0, 0, 0, 6, 20},    // t = 1200 / 120 = 10
      {300, 0, 0, 0, 10, 5, 18},   // t = 1160 / 120 = 9
      {30, 20, 0, 0, 0, 13, 22},   // t = min(120 / 64 + 20, 30) = 21, hard 3T / 4
      {30, 20, 0, 0, 10, 12, 15},  // t = min(80 / 64 + 20, 20) = 20, hard 3 * 20 / 4
      {1000, 0, 1, 0, 10, 247, 495},   // movetime 1000 less 10: t = 396
      {1000, 100, 20, 0, 10, 113, 364},  // t = 1980 / 24 + 100 = 182
      {5, 20, 0, 0, 10, 0, 0},           // the overhead exceeds the clock: nothing left to spend
  };
  for (const BudgetCase& c : cases) {
    const search::Deadlines d = search::computeDeadlines(1000000, c.timeMs, c.incrementMs, c.movesToGo,
                                                         c.movesPlayed, c.overheadMs, true);
    const std::string what = "case " + std::to_string(&c - cases);
    EXPECT_EQ(d.softMs - 1000000, c.softAfter) << what;
    EXPECT_EQ(d.hardMs - 1000000, c.hardAfter) << what;
    EXPECT_LE(d.hardMs - 1000000, std::max<int64_t>(c.timeMs - c.overheadMs, 0)) << what;
  }
  const search::Deadlines none = search::computeDeadlines(1000000, 0, 0, 0, 0, 10, false);
  EXPECT_EQ(none.softMs, search::NO_DEADLINE);
  EXPECT_EQ(none.hardMs, search::NO_DEADLINE);
}

}  // namespace

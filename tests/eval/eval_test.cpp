// The evaluation frame: worked totals, draws and scaling, the Strength noise, colour and file
// symmetry, the untouched record and the pawn cache.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

#include "eval/pawn_cache.h"
#include "eval_support.h"

namespace {

using evaltest::setUp;

int evaluateFen(const std::string& fen, int ply = 0, int drawScore = 0) {
  auto pos = setUp(fen);
  EXPECT_TRUE(pos) << fen;
  if (!pos) return 0;
  eval::EvalContext context;
  context.drawScore = drawScore;
  return eval::evaluate(*pos, ply, context);
}

TEST(EvaluateFrame, StartPositionIsTheTempoBonus) {
  EXPECT_EQ(evaluateFen(board::START_FEN), 27);
  EXPECT_EQ(evaluateFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1"), 27);
  const eval::EvalTrace trace = evaltest::traceOf(board::START_FEN);
  EXPECT_EQ(trace.phase, 24);
  for (int t = 0; t < eval::TERM_COUNT; ++t)
    for (int phase = 0; phase < 2; ++phase)
      EXPECT_EQ(trace.terms[t][eval::WHITE][phase], trace.terms[t][eval::BLACK][phase]) << t;
}

TEST(EvaluateFrame, BareMinorPiecesAreDrawnAndRookIsNot) {
  const char* const drawn[] = {"8/8/4k3/8/8/3K4/8/8 w - - 0 1", "8/8/4k3/8/8/3K4/5N2/8 w - - 0 1",
                               "8/2b5/4k3/8/8/3K4/8/8 b - - 0 1", "7k/8/8/8/8/8/8/1B5K w - - 0 1"};
  for (const char* fen : drawn) {
    EXPECT_EQ(evaluateFen(fen, 0, 40), 40) << fen;
    EXPECT_EQ(evaluateFen(fen, 1, 40), -40) << fen;
    EXPECT_EQ(evaluateFen(fen, 6, -12), -12) << fen;
    EXPECT_TRUE(evaltest::traceOf(fen).drawnMaterial) << fen;
  }
  const eval::EvalTrace rook = evaltest::traceOf("8/8/4k3/8/8/3K4/8/7R w - - 0 1");
  EXPECT_FALSE(rook.drawnMaterial);
  EXPECT_EQ(rook.phase, 2);
  EXPECT_GT(rook.score, 1000);
  // One pawn is enough to evaluate normally.
  EXPECT_FALSE(evaltest::traceOf("8/8/4k3/8/8/3K4/6P1/8 w - - 0 1").drawnMaterial);
}

// The evaluation's fingerprint: every term of both colours, the phase and the final score of the
// positions of a few random games, folded into one checksum. Any change to a weight, a table or a
// rule of the evaluation changes it.
TEST(EvaluateFingerprint, RandomGamePositions) {
  uint64_t hash = 0xCBF29CE484222325ULL;
  const auto fold = [&hash](int value) { hash = (hash ^ uint32_t(value)) * 0x100000001B3ULL; };
  int evaluated = 0;
  for (const std::string& fen : evaltest::randomGameFens(0xF1A9E5ULL, 16, 160)) {
    auto pos = setUp(fen);
    ASSERT_TRUE(pos) << fen;
    if (board::isInCheck(board::currentState(*pos))) continue;
    eval::EvalContext context;
    eval::EvalTrace trace;
    eval::evaluateTraced(*pos, 0, context, trace);
    for (const auto& term : trace.terms)
      for (const auto& colour : term)
        for (const int value : colour) fold(value);
    fold(trace.phase);
    fold(trace.score);
    ++evaluated;
  }
  EXPECT_GT(evaluated, 2000);
  EXPECT_EQ(hash, 0x5852A6C0E99D0E0DULL);
}

TEST(EvaluateFrame, OppositeColouredBishopsScaleByThreeQuarters) {
  struct Case {
    const char* fen;
    bool scaled;
  };
  const Case cases[] = {
      {"2b1k3/pp6/8/8/8/8/PPP5/2B1K3 w - - 0 1", true},    // c1 dark, c8 light
      {"2b1k3/pp6/8/8/8/8/PPP5/2B1K3 b - - 0 1", true},
      {"3bk3/pp6/8/8/8/8/PPP5/2B1K3 w - - 0 1", false},    // both dark
      {"2b1k3/pp6/8/8/8/8/PPP5/1NB1K3 w - - 0 1", false},  // bishop and knight against bishop
      {"4k3/pp6/8/8/8/8/PPP5/1BB1K3 w - - 0 1", false},    // both bishops on one side
  };
  for (const Case& c : cases) {
    const eval::EvalTrace t = evaltest::traceOf(c.fen);
    EXPECT_EQ(t.oppositeBishops, c.scaled) << c.fen;
    EXPECT_EQ(t.score, c.scaled ? t.blended * 3 / 4 : t.blended) << c.fen;
  }
}

TEST(EvaluateFrame, HalfmoveClockScalesTowardsTheFiftyMoveLimit) {
  const std::string placement = "4k3/8/8/8/8/8/8/R3K3 w - - ";
  const int base = evaluateFen(placement + "0 60");
  ASSERT_GT(base, 1000);
  EXPECT_EQ(evaluateFen(placement + "69 80"), base);
  EXPECT_EQ(evaluateFen(placement + "70 80"), base * 31 / 32);
  EXPECT_EQ(evaluateFen(placement + "85 80"), base * 16 / 32);
  EXPECT_EQ(evaluateFen(placement + "100 80"), base * 1 / 32);
}

TEST(EvaluateFrame, StrengthNoiseOnlyAtFiftyAndBelow) {
  auto pos = setUp("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
  ASSERT_TRUE(pos);
  eval::EvalContext plain;
  const int base = eval::evaluate(*pos, 0, plain);
  struct Case {
    int strength, lowest, highest;
  };
  const Case cases[] = {{100, 0, 0}, {51, 0, 0}, {50, -4, 403}, {25, -104, 503}, {1, -200, 599}};
  for (const Case& c : cases) {
    eval::EvalContext context;
    context.strength = c.strength;
    std::set<int> seen;
    for (int i = 0; i < 400; ++i) {
      const int value = eval::evaluate(*pos, 0, context);
      EXPECT_GE(value - base, c.lowest) << c.strength;
      EXPECT_LE(value - base, c.highest) << c.strength;
      seen.insert(value);
    }
    if (c.strength > 50)
      EXPECT_EQ(seen.size(), 1u) << c.strength;
    else
      EXPECT_GT(seen.size(), 50u) << c.strength;
  }
}

TEST(EvaluateFrame, StaysInsideTheMateBoundWithRightSign) {
  // Nine queens against a bare king: the material leaves the 16-bit range; the result keeps its
  // sign and stays a plain score, with and without the Strength noise.
  struct Case {
    const char* fen;
    int sign;
  };
  const Case cases[] = {{"1QQQQQQQ/QQ6/8/8/8/8/8/K6k b - - 0 1", -1},
                        {"QQQQQQQQ/Q7/8/8/8/8/8/K6k b - - 0 1", -1},
                        {"K6k/8/8/8/8/8/8/qqqqqqq1 w - - 0 1", -1},
                        {"7k/8/8/8/8/8/RRRRRRR1/RRRK4 w - - 0 1", 1}};
  for (const Case& c : cases) {
    auto pos = setUp(c.fen);
    ASSERT_TRUE(pos) << c.fen;
    eval::EvalContext context;
    for (int strength : {100, 1}) {
      context.strength = strength;
      const int value = eval::evaluate(*pos, 0, context);
      EXPECT_GT(value * c.sign, 15000) << c.fen;
      EXPECT_LT(value * c.sign, board::MATE_BOUND) << c.fen;
    }
  }
}

// A position and its colour-exchanged twin get the same score; so do a position and its
// file-mirrored twin. Along the way: the record is left byte for byte as it was, and the breakdown
// adds up to the same value as the search's evaluation.
TEST(EvaluateSymmetry, ColourAndFileTwinsScoreTheSame) {
  const std::vector<std::string> fens = evaltest::variedFens();
  ASSERT_GT(fens.size(), 300u);
  int compared = 0;
  for (const std::string& fen : fens) {
    auto pos = setUp(fen);
    ASSERT_TRUE(pos) << fen;
    if (board::isInCheck(board::currentState(*pos))) continue;
    const board::BoardState before = board::currentState(*pos);
    eval::EvalContext context;
    const int score = eval::evaluate(*pos, 0, context);
    EXPECT_EQ(std::memcmp(&before, &board::currentState(*pos), sizeof before), 0) << fen;
    eval::EvalTrace trace;
    EXPECT_EQ(eval::evaluateTraced(*pos, 0, context, trace), score) << fen;
    EXPECT_EQ(std::memcmp(&before, &board::currentState(*pos), sizeof before), 0) << fen;

    const std::string colourTwin = evaltest::flipColours(fen);
    const std::string fileTwin = evaltest::mirrorFiles(fen);
    EXPECT_EQ(evaluateFen(colourTwin), score) << fen << " vs " << colourTwin;
    EXPECT_EQ(evaluateFen(fileTwin), score) << fen << " vs " << fileTwin;
    // The breakdown of the colour twin is the same with the colours exchanged.
    const eval::EvalTrace twin = evaltest::traceOf(colourTwin);
    for (int t = 0; t < eval::TERM_COUNT; ++t)
      for (int colour = 0; colour < 2; ++colour)
        for (int phase = 0; phase < 2; ++phase)
          EXPECT_EQ(trace.terms[t][colour][phase], twin.terms[t][colour ^ 1][phase]) << fen << " term " << t;
    ++compared;
  }
  EXPECT_GT(compared, 250);
}

// A pawn-cache hit gives the value of a fresh computation, and the store is what a probe reads.
TEST(EvaluatePawnCache, HitsGiveTheFreshValue) {
  std::vector<eval::PawnCacheEntry> entries(1024);
  eval::PawnCache& cache = eval::pawnCache;
  const eval::PawnCache saved = cache;
  const std::vector<std::string> fens = evaltest::variedFens();
  std::vector<int> fresh;
  cache = eval::PawnCache{};
  for (const std::string& fen : fens) fresh.push_back(evaluateFen(fen));
  cache.entries = entries.data();
  cache.mask = entries.size() - 1;
  int hits = 0;
  for (int round = 0; round < 2; ++round) {
    for (size_t i = 0; i < fens.size(); ++i) {
      auto pos = setUp(fens[i]);
      const uint64_t key = board::currentState(*pos).pawnKey;
      int mg = 0, eg = 0;
      const bool hit = eval::pawnCacheProbe(cache, key, mg, eg);
      hits += hit;
      eval::EvalContext context;
      EXPECT_EQ(eval::evaluate(*pos, 0, context), fresh[i]) << fens[i] << " round " << round;
      EXPECT_TRUE(eval::pawnCacheProbe(cache, key, mg, eg)) << fens[i];
      // A corrupted entry (a torn write) reads as a miss and is recomputed.
      entries[key & cache.mask].data.store(entries[key & cache.mask].data.load() ^ 0x10001);
      EXPECT_FALSE(eval::pawnCacheProbe(cache, key, mg, eg));
      EXPECT_EQ(eval::evaluate(*pos, 0, context), fresh[i]) << fens[i];
    }
  }
  EXPECT_GT(hits, 0);
  cache = saved;
}

}  // namespace

// The evaluation frame: worked totals, draws and scaling, its fingerprint, the Strength noise, colour
// and file symmetry, the untouched record and the pawn cache.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <tuple>
#include <vector>

#include "eval/pawn_cache.h"
#include "eval_support.h"

namespace {

using evaltest::setUp;

int evaluateFen(const std::string& fen, int ply = 0, int drawScore = 0) {
  auto pos = setUp(fen);
  EXPECT_TRUE(pos) << fen;
  eval::EvalContext context;
  context.drawScore = drawScore;
  return pos ? eval::evaluate(*pos, ply, context) : 0;
}

TEST(EvaluateFrame, TempoDrawsAndScaling) {
  EXPECT_EQ(evaluateFen(board::START_FEN), 27);  // the tempo bonus alone
  EXPECT_EQ(evaluateFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1"), 27);
  // Bare kings or a single minor piece: the draw score, for the side to move at the root.
  for (const char* fen : {"8/8/4k3/8/8/3K4/8/8 w - - 0 1", "8/8/4k3/8/8/3K4/5N2/8 w - - 0 1",
                          "8/2b5/4k3/8/8/3K4/8/8 b - - 0 1", "7k/8/8/8/8/8/8/1B5K w - - 0 1"}) {
    EXPECT_EQ(evaluateFen(fen, 0, 40), 40) << fen;
    EXPECT_EQ(evaluateFen(fen, 1, 40), -40) << fen;
    EXPECT_EQ(evaluateFen(fen, 6, -12), -12) << fen;
  }
  EXPECT_FALSE(evaltest::traceOf("8/8/4k3/8/8/3K4/6P1/8 w - - 0 1").drawnMaterial);  // one pawn is enough
  // A rook is enough too; from a halfmove clock of 70 on, the score shrinks by a 32nd a ply.
  const std::string rookFen = "4k3/8/8/8/8/8/8/R3K3 w - - ";
  const int base = evaluateFen(rookFen + "0 60");
  ASSERT_GT(base, 1000);
  for (const auto& [clock, factor] : {std::pair{69, 32}, {70, 31}, {85, 16}, {100, 1}})
    EXPECT_EQ(evaluateFen(rookFen + std::to_string(clock) + " 80"), base * factor / 32) << clock;
  // Opposite-coloured bishops, one a side besides pawns, scale the score by three quarters.
  for (const auto& [fen, scaled] : {std::pair{"2b1k3/pp6/8/8/8/8/PPP5/2B1K3 w - - 0 1", true},
                                    {"2b1k3/pp6/8/8/8/8/PPP5/2B1K3 b - - 0 1", true},
                                    {"3bk3/pp6/8/8/8/8/PPP5/2B1K3 w - - 0 1", false},     // both dark
                                    {"2b1k3/pp6/8/8/8/8/PPP5/1NB1K3 w - - 0 1", false},   // and a knight
                                    {"4k3/pp6/8/8/8/8/PPP5/1BB1K3 w - - 0 1", false}}) {  // two against none
    const eval::EvalTrace t = evaltest::traceOf(fen);
    EXPECT_EQ(t.score, scaled ? t.blended * 3 / 4 : t.blended) << fen;
  }
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

TEST(EvaluateFrame, StrengthNoiseOnlyAtFiftyAndBelowAndTheMateBound) {
  auto pos = setUp("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
  eval::EvalContext plain;
  const int base = eval::evaluate(*pos, 0, plain);
  for (const auto& [strength, lowest, highest] :
       {std::tuple{100, 0, 0}, {51, 0, 0}, {50, -4, 403}, {25, -104, 503}, {1, -200, 599}}) {
    eval::EvalContext context;
    context.strength = strength;
    std::set<int> seen;
    for (int i = 0; i < 400; ++i) {
      const int value = eval::evaluate(*pos, 0, context);
      EXPECT_GE(value - base, lowest) << strength;
      EXPECT_LE(value - base, highest) << strength;
      seen.insert(value);
    }
    EXPECT_TRUE(strength > 50 ? seen.size() == 1 : seen.size() > 50) << strength;
  }
  // UCI_Elo's noise: fixed for a position and a seed, within -levelNoise..levelNoise, centred, and it
  // differs between positions and between seeds.
  std::set<int> offsets;
  int sum = 0;
  for (uint64_t seed = 1; seed <= 200; ++seed) {
    eval::EvalContext context;
    context.levelNoise = 100;
    context.levelSeed = seed * 0x9E3779B97F4A7C15ULL;
    const int value = eval::evaluate(*pos, 0, context);
    EXPECT_EQ(eval::evaluate(*pos, 0, context), value);
    EXPECT_LE(std::abs(value - base), 100);
    offsets.insert(value - base);
    sum += value - base;
  }
  EXPECT_GT(offsets.size(), 80u);
  EXPECT_LT(std::abs(sum), 200 * 20);
  // Nine queens against a bare king leave the 16-bit range of the kept sums: the result keeps its
  // sign and stays a plain score, with and without the noise.
  for (const auto& [fen, sign] : {std::pair{"1QQQQQQQ/QQ6/8/8/8/8/8/K6k b - - 0 1", -1},
                                  {"K6k/8/8/8/8/8/8/qqqqqqq1 w - - 0 1", -1},
                                  {"7k/8/8/8/8/8/RRRRRRR1/RRRK4 w - - 0 1", 1}}) {
    auto heavy = setUp(fen);
    eval::EvalContext context;
    for (int strength : {100, 1}) {
      context.strength = strength;
      const int value = eval::evaluate(*heavy, 0, context);
      EXPECT_GT(value * sign, 15000) << fen;
      EXPECT_LT(value * sign, board::MATE_BOUND) << fen;
    }
  }
}

// A position and its colour-exchanged twin get the same score; so do a position and its
// file-mirrored twin. Along the way: the record is left byte for byte as it was, and the breakdown
// adds up to the same value as the search's evaluation.
TEST(EvaluateSymmetry, ColourAndFileTwinsScoreTheSame) {
  int compared = 0;
  for (const std::string& fen : evaltest::variedFens()) {
    auto pos = setUp(fen);
    ASSERT_TRUE(pos) << fen;
    if (board::isInCheck(board::currentState(*pos))) continue;
    const board::BoardState before = board::currentState(*pos);
    eval::EvalContext context;
    const int score = eval::evaluate(*pos, 0, context);
    eval::EvalTrace trace;
    EXPECT_EQ(eval::evaluateTraced(*pos, 0, context, trace), score) << fen;
    EXPECT_EQ(std::memcmp(&before, &board::currentState(*pos), sizeof before), 0) << fen;

    const std::string colourTwin = testsupport::flipColours(fen), fileTwin = evaltest::mirrorFiles(fen);
    EXPECT_EQ(evaluateFen(colourTwin), score) << fen << " vs " << colourTwin;
    EXPECT_EQ(evaluateFen(fileTwin), score) << fen << " vs " << fileTwin;
    // The breakdown of the colour twin is the same with the colours exchanged.
    const eval::EvalTrace twin = evaltest::traceOf(colourTwin);
    for (int t = 0; t < eval::TERM_COUNT; ++t)
      for (int colour = 0; colour < 2; ++colour)
        EXPECT_EQ(trace.terms[t][colour], twin.terms[t][colour ^ 1]) << fen << " term " << t;
    ++compared;
  }
  EXPECT_GT(compared, 250);
}

// A pawn-cache hit gives the value of a fresh computation, and a corrupted entry (a torn write) reads
// as a miss and is recomputed.
TEST(EvaluatePawnCache, HitsGiveTheFreshValue) {
  const eval::PawnCache saved = eval::pawnCache;
  std::vector<eval::PawnCacheEntry> entries(1024);
  int hits = 0, mg = 0, eg = 0;
  for (const std::string& fen : evaltest::variedFens()) {
    eval::pawnCache = eval::PawnCache{};
    const int fresh = evaluateFen(fen);
    eval::pawnCache = eval::PawnCache{entries.data(), entries.size() - 1};
    const uint64_t key = board::currentState(*setUp(fen)).pawnKey;
    std::atomic<uint64_t>& data = entries[key & 1023].data;
    hits += eval::pawnCacheProbe(eval::pawnCache, key, mg, eg);  // stored by an earlier game's position
    EXPECT_EQ(evaluateFen(fen), fresh) << fen;  // a hit, or a store that the probe then finds
    EXPECT_TRUE(eval::pawnCacheProbe(eval::pawnCache, key, mg, eg)) << fen;
    data.store(data.load() ^ 0x10001);
    EXPECT_FALSE(eval::pawnCacheProbe(eval::pawnCache, key, mg, eg)) << fen;
    EXPECT_EQ(evaluateFen(fen), fresh) << fen;
  }
  EXPECT_GT(hits, 0);
  eval::pawnCache = saved;
}

}  // namespace

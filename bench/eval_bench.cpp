// Micro-benchmark of the static evaluation over a fixed set of positions, with the pawn cache warm
// (every pawn structure already stored) and cold (no cache: the pawn terms are computed each time).
// One iteration is one evaluation.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "board/attacks.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "eval/eval.h"
#include "eval/pawn_cache.h"

namespace {

const char* const FENS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4",
    "r1bq1rk1/pp2ppbp/2np1np1/8/3NP3/2N1BP2/PPPQ2PP/R3KB1R w KQ - 3 9",
    "2rr3k/pp3pp1/1nnqbN1p/3pN3/2pP4/2P3Q1/PPB4P/R4RK1 w - - 0 1",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "5rk1/1ppb3p/p1pb4/6q1/3P1p1r/2P1R2P/PP1BQ1P1/5RKN w - - 0 1",
    "r1b2rk1/2q1b1pp/p2ppn2/1p6/3QP3/1BN1B3/PPP3PP/R4RK1 b - - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/8/4kpp1/3p1b2/p6P/2B5/6P1/6K1 b - - 0 1",
    "8/5pk1/6p1/3R4/8/6P1/5P1K/2r5 w - - 0 1",
    "4k3/8/8/3PP3/8/8/8/4K3 w - - 0 1",
    "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1",
    "r2q1rk1/pb1nbppp/1p2pn2/2pp4/2PP4/1PN1PN2/PB2BPPP/R2Q1RK1 w - - 0 10",
    "2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1",
    "3r1k2/4npp1/1ppr3p/p6P/P2PPPP1/1NR5/5K2/2R5 w - - 0 1",
};

struct Positions {
  std::vector<std::unique_ptr<board::Position>> items;
  Positions() {
    board::initKeyTable();
    eval::initEvalTables();
    board::initAttackTables();
    for (const char* fen : FENS) {
      auto pos = std::make_unique<board::Position>();
      if (board::setupFromFen(*pos, fen)) items.push_back(std::move(pos));
    }
  }
};

Positions& positions() {
  static Positions set;
  return set;
}

void runEvaluations(benchmark::State& state) {
  auto& items = positions().items;
  eval::EvalContext context;
  size_t index = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(eval::evaluate(*items[index], 0, context));
    if (++index == items.size()) index = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_EvaluateWarmPawnCache(benchmark::State& state) {
  std::vector<eval::PawnCacheEntry> entries(1 << 16);
  const eval::PawnCache saved = eval::pawnCache;
  eval::pawnCache.entries = entries.data();
  eval::pawnCache.mask = entries.size() - 1;
  eval::EvalContext context;
  for (auto& pos : positions().items) eval::evaluate(*pos, 0, context);
  runEvaluations(state);
  eval::pawnCache = saved;
}

void BM_EvaluateColdPawnCache(benchmark::State& state) {
  const eval::PawnCache saved = eval::pawnCache;
  eval::pawnCache = eval::PawnCache{};
  runEvaluations(state);
  eval::pawnCache = saved;
}

void BM_EvaluateTraced(benchmark::State& state) {
  auto& items = positions().items;
  eval::EvalContext context;
  eval::EvalTrace trace;
  size_t index = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(eval::evaluateTraced(*items[index], 0, context, trace));
    if (++index == items.size()) index = 0;
  }
}

BENCHMARK(BM_EvaluateWarmPawnCache);
BENCHMARK(BM_EvaluateColdPawnCache);
BENCHMARK(BM_EvaluateTraced);

}  // namespace

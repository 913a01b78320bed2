// Micro-benchmarks of the board: make/unmake, each generator, the legal list and a small perft.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/queries.h"
#include "uci/command_loop.h"

namespace {

const char* const POSITIONS[] = {
    board::START_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
};
const char* const CHECK_POSITIONS[] = {
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "rnbqkbnr/ppp2ppp/8/1B1pp3/4P3/8/PPPP1PPP/RNBQK1NR b KQkq - 1 3",
    "r1bqk2r/pppp1ppp/2n2n2/4p3/1bB1P3/2N2N2/PPPP1PPP/R1BQK2R w KQkq - 6 5",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 b - - 0 1",
};

struct Fixture {
  std::vector<std::unique_ptr<board::Position>> positions;
  explicit Fixture(bool inCheck) {
    uci::initEngine();
    for (const char* fen : inCheck ? CHECK_POSITIONS : POSITIONS) {
      auto pos = std::make_unique<board::Position>();
      if (!board::setupFromFen(*pos, fen)) continue;
      if (inCheck != board::isInCheck(board::currentState(*pos))) continue;
      positions.push_back(std::move(pos));
    }
  }
};

Fixture& quietPositions() {
  static Fixture fixture(false);
  return fixture;
}
Fixture& checkPositions() {
  static Fixture fixture(true);
  return fixture;
}

void BM_MakeUnmake(benchmark::State& state) {
  auto& positions = quietPositions().positions;
  std::vector<std::vector<board::Move>> moves;
  for (auto& pos : positions) {
    board::Move list[board::MAX_MOVES];
    moves.emplace_back(list, board::generateLegalMoves(*pos, list));
  }
  int64_t made = 0;
  for (auto _ : state) {
    for (size_t i = 0; i < positions.size(); ++i) {
      for (board::Move m : moves[i]) {
        board::makeMove(*positions[i], m);
        benchmark::DoNotOptimize(board::currentState(*positions[i]).key);
        board::unmakeMove(*positions[i]);
      }
      made += int64_t(moves[i].size());
    }
  }
  state.SetItemsProcessed(made);
}
BENCHMARK(BM_MakeUnmake);

template <board::ScoredMove* (*Generator)(const board::Position&, board::ScoredMove*)>
void runGenerator(benchmark::State& state, Fixture& fixture) {
  board::ScoredMove list[board::MAX_MOVES];
  int64_t generated = 0;
  for (auto _ : state) {
    for (auto& pos : fixture.positions) {
      board::ScoredMove* end = Generator(*pos, list);
      benchmark::DoNotOptimize(end);
      generated += end - list;
    }
  }
  state.SetItemsProcessed(generated);
}

void BM_GenerateCaptures(benchmark::State& state) { runGenerator<board::generateCaptures>(state, quietPositions()); }
void BM_GenerateQuiets(benchmark::State& state) { runGenerator<board::generateQuiets>(state, quietPositions()); }
void BM_GenerateQuietChecks(benchmark::State& state) {
  runGenerator<board::generateQuietChecks>(state, quietPositions());
}
void BM_GenerateEvasions(benchmark::State& state) { runGenerator<board::generateEvasions>(state, checkPositions()); }
BENCHMARK(BM_GenerateCaptures);
BENCHMARK(BM_GenerateQuiets);
BENCHMARK(BM_GenerateQuietChecks);
BENCHMARK(BM_GenerateEvasions);

void BM_GenerateLegalMoves(benchmark::State& state) {
  board::Move list[board::MAX_MOVES];
  int64_t generated = 0;
  for (auto _ : state) {
    for (auto& pos : quietPositions().positions) {
      board::Move* end = board::generateLegalMoves(*pos, list);
      benchmark::DoNotOptimize(end);
      generated += end - list;
    }
  }
  state.SetItemsProcessed(generated);
}
BENCHMARK(BM_GenerateLegalMoves);

void BM_Perft3(benchmark::State& state) {
  int64_t leaves = 0;
  for (auto _ : state) {
    for (auto& pos : quietPositions().positions) leaves += int64_t(board::perft(*pos, 3));
  }
  state.SetItemsProcessed(leaves);
}
BENCHMARK(BM_Perft3);

}  // namespace

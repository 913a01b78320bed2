// Micro-benchmarks of the book: the Polyglot key alone, a probe that finds the position (lookup,
// legal list, choice) and a probe that misses (lookup only), on the shared lines book.
#include <benchmark/benchmark.h>

#include <string>

#include "board/fen.h"
#include "board/position.h"
#include "book/book.h"
#include "uci/command_loop.h"

namespace {

struct Fixture {
  board::Position hit;
  board::Position miss;
  bool ready = false;
  Fixture() {
    uci::initEngine();
    board::setupFromFen(hit, board::START_FEN);
    board::setupFromFen(miss, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    ready = book::openBook((std::string(TESMAR_DATA_DIR) + "/books/lines.bin").c_str());
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

void BM_PolyglotKey(benchmark::State& state) {
  Fixture& f = fixture();
  for (auto _ : state) benchmark::DoNotOptimize(book::polyglotKey(f.hit));
}
BENCHMARK(BM_PolyglotKey);

void BM_ProbeHit(benchmark::State& state) {
  Fixture& f = fixture();
  if (!f.ready) state.SkipWithError("lines.bin not found");
  for (auto _ : state) benchmark::DoNotOptimize(book::bookProbe(f.hit, false, nullptr, 0));
}
BENCHMARK(BM_ProbeHit);

void BM_ProbeMiss(benchmark::State& state) {
  Fixture& f = fixture();
  if (!f.ready) state.SkipWithError("lines.bin not found");
  for (auto _ : state) benchmark::DoNotOptimize(book::bookProbe(f.miss, false, nullptr, 0));
}
BENCHMARK(BM_ProbeMiss);

}  // namespace

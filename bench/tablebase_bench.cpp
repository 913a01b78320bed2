// Micro-benchmarks of the tablebase probes on the shared vector positions (all 3-4 piece tables,
// mapped and set up before timing): the in-tree WDL probe and the root's DTZ probe.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "tablebase/tablebase.h"
#include "uci/command_loop.h"

namespace {

struct Fixture {
  std::vector<std::unique_ptr<board::Position>> positions;
  Fixture() {
    uci::initEngine();
    const std::string data = TESMAR_DATA_DIR;
    tb::initTablebases((data + "/syzygy").c_str(), false);
    std::ifstream in(data + "/syzygy_vectors.txt");
    for (std::string line; std::getline(in, line);) {
      if (line.empty() || line[0] == '#') continue;
      auto pos = std::make_unique<board::Position>();
      if (board::setupFromFen(*pos, line.substr(0, line.find(';')))) positions.push_back(std::move(pos));
    }
    for (auto& pos : positions) {  // first use of every table outside the timing
      int success;
      tb::probeWdl(*pos, success);
      tb::probeDtz(*pos, success);
    }
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

// Probes the vector positions in turn with `probe` (tb::probeWdl or tb::probeDtz).
template <int (*probe)(board::Position&, int&)>
void probeAll(benchmark::State& state) {
  Fixture& f = fixture();
  if (f.positions.empty()) state.SkipWithError("syzygy_vectors.txt not found");
  size_t i = 0;
  for (auto _ : state) {
    int success;
    benchmark::DoNotOptimize(probe(*f.positions[i], success));
    if (++i == f.positions.size()) i = 0;
  }
}

void BM_ProbeWdl(benchmark::State& state) { probeAll<tb::probeWdl>(state); }
BENCHMARK(BM_ProbeWdl);

void BM_ProbeDtz(benchmark::State& state) { probeAll<tb::probeDtz>(state); }
BENCHMARK(BM_ProbeDtz);

}  // namespace


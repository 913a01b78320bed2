// Soak: self-play at a fast clock with two threads per engine, hash changes and "ucinewgame" between
// games, the book and the tablebases on. Reports games, crashes, illegal moves, time losses, peak
// memory and the lowest clock left after a move; fails on any crash, illegal move, time loss or a
// peak memory above the bound. Run with `make soak` (TESMAR_SOAK_GAMES games, default 200);
// TESMAR_SOAK_TC ("base+increment" in seconds, for example 1+0.02 or 2+0) replaces the repeating clock
// with one period for the whole game, TESMAR_SOAK_THREADS sets the engines' Threads (default 2) and
// TESMAR_SOAK_OVERHEAD their Move Overhead (default: the engine's own).
//
// The clock is 40 moves in 2 s, repeating, with games adjudicated after 200 plies: about 25 ms a move
// in the middle of a period, the last move of a period with a hundred milliseconds or so, fast enough
// for two hundred games in about half an hour. (At 1 s + 20 ms the clock settles a little above Move
// Overhead, which is then all the reserve there is: a time loss there measures the machine's
// scheduling as much as the engine.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/engine_process.h"
#include "support/match.h"

namespace {

using testsupport::EngineProcess;
using testsupport::GameEnd;

// Generous: two engines' worth of code, stacks and a 64 MiB hash with its pawn cache.
constexpr long kPeakMemoryLimitKb = 1024 * 1024;

std::string env(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value && *value ? value : fallback;
}

std::unique_ptr<EngineProcess> startEngine(int hashMb, const std::string& data) {
  auto engine = std::make_unique<EngineProcess>();
  engine->send("setoption name Threads value " + env("TESMAR_SOAK_THREADS", "2"));
  engine->send("setoption name Hash value " + std::to_string(hashMb));
  if (const std::string overhead = env("TESMAR_SOAK_OVERHEAD", ""); !overhead.empty())
    engine->send("setoption name Move Overhead value " + overhead);
  if (!data.empty()) {
    engine->send("setoption name OwnBook value true");
    engine->send("setoption name BookFile value " + data + "/books/lines.bin");
    engine->send("setoption name SyzygyPath value " + data + "/syzygy");
  }
  engine->send("isready");
  return engine->waitFor("readyok", 10000) ? std::move(engine) : nullptr;
}

TEST(SlowSoak, SelfPlayKeepsAnswering) {
  const int games = std::atoi(env("TESMAR_SOAK_GAMES", "200").c_str());
  const std::string data = testsupport::dataDir(), tc = env("TESMAR_SOAK_TC", "");
  testsupport::MatchClock clock{2000, 0, 0, 40};
  if (!tc.empty()) {
    char* plus = nullptr;
    const double baseSeconds = std::strtod(tc.c_str(), &plus);
    clock = {int(baseSeconds * 1000 + 0.5), int((*plus == '+' ? std::strtod(plus + 1, nullptr) : 0.0) * 1000 + 0.5)};
  }
  std::printf("soak: %d games at %d ms + %d ms%s, Threads %s, Move Overhead %s\n", games, clock.baseMs,
              clock.incrementMs, clock.movesPerPeriod ? " per 40 moves" : "", env("TESMAR_SOAK_THREADS", "2").c_str(),
              env("TESMAR_SOAK_OVERHEAD", "default").c_str());
  int failed[4] = {};  // crashes, illegal moves, time losses, unanswered
  long peakKb = 0, lowestClockMs = 1L << 30;
  std::unique_ptr<EngineProcess> engines[2];
  for (int game = 0; game < games; ++game) {
    // Fresh processes every 25 games and after any failure; hash sizes change between games.
    for (int e = 0; e < 2; ++e) {
      const int hashMb = 1 << (2 * ((game + e) % 4));  // 1, 4, 16, 64
      if (engines[e] && game % 25 != 0 && engines[e]->running())
        engines[e]->send("setoption name Hash value " + std::to_string(hashMb));
      else if (!(engines[e] = startEngine(hashMb, data)))
        ++failed[0];
    }
    if (!engines[0] || !engines[1]) continue;
    EngineProcess &white = *engines[game % 2], &black = *engines[1 - game % 2];
    const auto result = testsupport::playGame(white, black, clock, {}, 200);
    peakKb = std::max(peakKb, result.peakRssKb);
    lowestClockMs = std::min(lowestClockMs, result.lowestClockMs);
    if (testsupport::isFailure(result.end)) {
      const bool gone = result.end == GameEnd::NoAnswer && !(white.running() && black.running());
      ++failed[gone ? 0 : result.end == GameEnd::IllegalMove ? 1 : result.end == GameEnd::TimeLoss ? 2 : 3];
      std::printf("  game %d: %s: %s\n", game + 1, testsupport::gameEndName(result.end), result.detail.c_str());
      engines[0].reset(), engines[1].reset();
    }
    if ((game + 1) % 10 == 0)
      std::printf("soak: %d games played, lowest clock after a move %ld ms\n", game + 1, lowestClockMs);
    std::fflush(stdout);
  }
  std::printf("soak: %d games; crashes %d, illegal moves %d, time losses %d, unanswered %d, peak memory %ld KiB, "
              "lowest clock after a move %ld ms\n",
              games, failed[0], failed[1], failed[2], failed[3], peakKb, lowestClockMs);
  EXPECT_EQ(failed[0] + failed[1] + failed[2] + failed[3], 0);
  EXPECT_LT(peakKb, kPeakMemoryLimitKb);
}

}  // namespace

// Soak: self-play at a fast clock with two threads per engine, hash changes and "ucinewgame" between
// games, the book and the tablebases on. Reports games, results, crashes, illegal moves, time losses
// and peak memory; fails on any crash, illegal move, time loss or a peak memory above the bound.
// Run with `make soak` (TESMAR_SOAK_GAMES games, default 200); TESMAR_SOAK_TC ("base+increment" in
// seconds, for example 1+0.02 or 2+0) replaces the repeating clock with one period for the whole game,
// TESMAR_SOAK_THREADS sets the engines' Threads (default 2) and TESMAR_SOAK_OVERHEAD their Move
// Overhead (default: the engine's own).
//
// The clock is 40 moves in 2 s, repeating, with games adjudicated after 200 plies: about 25 ms a move
// in the middle of a period, the last move of a period with a hundred milliseconds or so, fast enough
// for two hundred games in about half an hour. (At 1 s + 20 ms the clock settles a little above Move
// Overhead, which is then all the reserve there is: a time loss there measures the machine's
// scheduling as much as the engine.)
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/engine_process.h"
#include "support/match.h"

namespace {

using testsupport::EngineProcess;
using testsupport::GameEnd;

// Generous: two engines' worth of code, stacks and a 64 MiB hash with its pawn cache.
constexpr long kPeakMemoryLimitKb = 1024 * 1024;

bool startEngine(EngineProcess& engine, int hashMb, const std::string& data, int threads) {
  engine.send("uci");
  if (!engine.waitFor("uciok", 10000)) return false;
  engine.send("setoption name Threads value " + std::to_string(threads));
  engine.send("setoption name Hash value " + std::to_string(hashMb));
  if (const char* overhead = std::getenv("TESMAR_SOAK_OVERHEAD"); overhead && *overhead)
    engine.send(std::string("setoption name Move Overhead value ") + overhead);
  if (!data.empty()) {
    engine.send("setoption name OwnBook value true");
    engine.send("setoption name BookFile value " + data + "/books/lines.bin");
    engine.send("setoption name SyzygyPath value " + data + "/syzygy");
  }
  engine.send("isready");
  return engine.waitFor("readyok", 10000).has_value();
}

TEST(SlowSoak, SelfPlayKeepsAnswering) {
  const char* gamesText = std::getenv("TESMAR_SOAK_GAMES");
  const int games = gamesText ? std::atoi(gamesText) : 200;
  const std::string data = testsupport::dataDir();
  const int hashSizes[] = {1, 4, 16, 64};
  const char* threadsText = std::getenv("TESMAR_SOAK_THREADS");
  const int threads = threadsText ? std::atoi(threadsText) : 2;
  testsupport::MatchClock clock{2000, 0, 0, 40};
  if (const char* tc = std::getenv("TESMAR_SOAK_TC"); tc && *tc) {
    char* plus = nullptr;
    const double baseSeconds = std::strtod(tc, &plus);
    const double incrementSeconds = *plus == '+' ? std::strtod(plus + 1, nullptr) : 0.0;
    clock = {int(baseSeconds * 1000 + 0.5), int(incrementSeconds * 1000 + 0.5), 0, 0};
  }
  const char* overhead = std::getenv("TESMAR_SOAK_OVERHEAD");
  std::printf("soak: %d games at %d ms + %d ms%s, Threads %d, Move Overhead %s\n", games, clock.baseMs,
              clock.incrementMs, clock.movesPerPeriod ? " per 40 moves" : "", threads,
              overhead && *overhead ? overhead : "default");

  int wins[2] = {0, 0}, draws = 0, crashes = 0, illegal = 0, timeLosses = 0, noAnswer = 0;
  long peakKb = 0, lowestClockMs = 1L << 30;
  std::vector<std::string> failures;
  EngineProcess* engines[2] = {nullptr, nullptr};
  for (int game = 0; game < games; ++game) {
    // Fresh processes every 25 games and after any failure; hash sizes change between games.
    for (int e = 0; e < 2; ++e) {
      if (engines[e] && (game % 25 == 0 || !engines[e]->running())) {
        delete engines[e];
        engines[e] = nullptr;
      }
      if (!engines[e]) {
        engines[e] = new EngineProcess();
        if (!startEngine(*engines[e], hashSizes[(game + e) % 4], data, threads)) {
          ++crashes;
          failures.push_back("engine did not start");
        }
      } else {
        engines[e]->send("setoption name Hash value " + std::to_string(hashSizes[(game + e) % 4]));
      }
    }
    EngineProcess& white = *engines[game % 2];
    EngineProcess& black = *engines[1 - game % 2];
    const auto result = testsupport::playGame(white, black, clock, {}, 200);
    if (result.peakRssKb > peakKb) peakKb = result.peakRssKb;
    if (result.lowestClockMs < lowestClockMs) lowestClockMs = result.lowestClockMs;
    switch (result.end) {
      case GameEnd::IllegalMove: ++illegal; break;
      case GameEnd::TimeLoss: ++timeLosses; break;
      case GameEnd::NoAnswer: (white.running() && black.running() ? ++noAnswer : ++crashes); break;
      default: break;
    }
    if (result.score == 0) ++draws;
    else ++wins[(result.score > 0) == (game % 2 == 0) ? 0 : 1];
    if ((game + 1) % 10 == 0) {
      std::printf("soak: %d games played, %d failures so far, lowest clock after a move %ld ms\n", game + 1,
                  int(failures.size()), lowestClockMs);
      std::fflush(stdout);
    }
    if (testsupport::isFailure(result.end)) {
      failures.push_back(std::string(testsupport::gameEndName(result.end)) + ": " + result.detail);
      for (auto*& e : engines) { delete e; e = nullptr; }
      for (int e = 0; e < 2; ++e) {
        engines[e] = new EngineProcess();
        startEngine(*engines[e], 16, data, threads);
      }
    }
  }
  for (auto* e : engines) delete e;
  std::printf("soak: %d games, engine A %d wins, engine B %d wins, %d draws; crashes %d, illegal moves %d, "
              "time losses %d, unanswered %d, peak memory %ld KiB, lowest clock after a move %ld ms\n",
              games, wins[0], wins[1], draws, crashes, illegal, timeLosses, noAnswer, peakKb, lowestClockMs);
  for (const auto& f : failures) std::printf("  %s\n", f.c_str());
  EXPECT_EQ(crashes, 0);
  EXPECT_EQ(illegal, 0);
  EXPECT_EQ(timeLosses, 0);
  EXPECT_EQ(noAnswer, 0);
  EXPECT_LT(peakKb, kPeakMemoryLimitKb);
}

}  // namespace

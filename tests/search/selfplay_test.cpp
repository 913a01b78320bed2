// Two engines play each other through their pipes with a real clock; the referee checks every move
// with the legal move generator. No crash, no illegal move, no loss on time. (The long version with
// two threads, hash changes, the book and the tablebases is the soak: `make soak`.)
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/engine_process.h"
#include "support/match.h"

namespace {

using testsupport::EngineProcess;

void startEngine(EngineProcess& engine) {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok", 5000));
  engine.send("setoption name Hash value 16");
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok", 10000));
}

// Two games at 2 s + 50 ms with colours swapped. The 100 ms tolerance absorbs the scheduling of a
// machine busy with the other tests.
TEST(E2ESelfPlay, ShortGamesWithARealClock) {
  EngineProcess first;
  EngineProcess second;
  startEngine(first);
  startEngine(second);
  const std::vector<std::string> opening{"e2e4", "e7e5"};
  for (int g = 0; g < 2; ++g) {
    EngineProcess& white = g ? second : first;
    EngineProcess& black = g ? first : second;
    const auto game = testsupport::playGame(white, black, testsupport::MatchClock{2000, 50, 100}, opening);
    std::printf("game %d: %s after %d plies, lowest clock %ld ms\n", g + 1, testsupport::gameEndName(game.end),
                game.plies, game.lowestClockMs);
    EXPECT_FALSE(testsupport::isFailure(game.end))
        << testsupport::gameEndName(game.end) << " at ply " << game.plies << ": " << game.detail;
  }
  first.send("quit");
  second.send("quit");
  EXPECT_EQ(first.waitExit(5000), 0);
  EXPECT_EQ(second.waitExit(5000), 0);
}

}  // namespace

// Chess960 and Double Fischer Random games through the engine's real pipes: the referee checks every
// move with the engine library's own legal move generator and that castling is written as the king
// taking its rook, as a tournament manager in Chess960 mode does.
#include <gtest/gtest.h>

#include <string>

#include "support/engine_process.h"
#include "support/match.h"

namespace {

using testsupport::EngineProcess;

void startEngine(EngineProcess& engine, int threads) {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok", 10000));
  for (const std::string& option : {std::string("UCI_Chess960 value true"), std::string("Hash value 16"), "Threads value " + std::to_string(threads)})
    engine.send("setoption name " + option);
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok", 10000));
}

TEST(E2EChess960, GamesFromChess960AndDfrcStarts) {
  EngineProcess one;
  EngineProcess two;
  startEngine(one, 1);
  startEngine(two, 2);
  // A Chess960 start (king f1, rooks e1 and g1) and a DFRC one (each side's own back rank).
  const char* starts[] = {"bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1",
                          "rkbbqnnr/pppppppp/8/8/8/8/PPPPPPPP/BRKNNQRB w GBha - 0 1"};
  for (int g = 0; g < 2; ++g) {
    const testsupport::GameResult game =
        testsupport::playGame(g ? two : one, g ? one : two, testsupport::MatchClock{2000, 50, 100}, {}, 60, starts[g]);
    EXPECT_FALSE(testsupport::isFailure(game.end))
        << testsupport::gameEndName(game.end) << " at ply " << game.plies << ": " << game.detail << "\n"
        << game.moves;
  }
  for (EngineProcess* engine : {&one, &two}) {
    engine->send("quit");
    EXPECT_EQ(engine->waitExit(20000), 0);
  }
}

}  // namespace

// The parallel search through the engine's real pipes: results stay sound with several threads,
// searches stop on request, many searches in a row never hang, games on a clock are never lost on time. Built with ThreadSanitizer the
// engine exits with a non-zero code after any data race, which the tests check at "quit".
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/engine_process.h"
#include "support/match.h"

namespace {

using testsupport::EngineProcess;

// Generous limits: the machine is shared and the tests may run under ThreadSanitizer.
constexpr int SEARCH_TIMEOUT_MS = 60000;
constexpr int STOP_TIMEOUT_MS = 10000;

void startEngine(EngineProcess& engine, int threads) {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok", 10000));
  engine.send("setoption name Hash value 16");
  engine.send("setoption name Threads value " + std::to_string(threads));
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok", 10000));
}

void quitEngine(EngineProcess& engine) {
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(20000), 0) << "the engine crashed or reported a data race";
}

// The token after `key` in a line (blank separated), or "" when it is not there.
std::string wordAfter(const std::string& line, const std::string& key) {
  std::istringstream words(line);
  std::string word;
  while (words >> word)
    if (word == key) return words >> word ? word : "";
  return "";
}

// "stop" ends a running search at once, again and again, with the thread count changed between
// searches; "isready" is answered while the helpers search.
TEST(E2EThreads, GoStopCyclesWithChangingThreadCounts) {
  EngineProcess engine;
  startEngine(engine, 4);
  const char* positions[] = {
      "startpos",
      "fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
      "startpos moves e2e4 e7e5 g1f3 b8c6 f1b5 a7a6",
  };
  const int threadCounts[] = {4, 2, 1, 8, 3, 64, 2, 5};
  for (int round = 0; round < 16; ++round) {
    if (round % 2 == 0)
      engine.send("setoption name Threads value " + std::to_string(threadCounts[round / 2]));
    engine.send(std::string("position ") + positions[round % 4]);
    engine.send("go infinite");
    engine.send("isready");
    ASSERT_TRUE(engine.waitFor("readyok", STOP_TIMEOUT_MS)) << "round " << round;
    engine.drain(50 + 30 * (round % 5));
    engine.send("stop");
    const auto best = engine.waitFor("bestmove", STOP_TIMEOUT_MS);
    ASSERT_TRUE(best) << "round " << round << ": no bestmove after stop";
    EXPECT_NE(wordAfter(*best, "bestmove"), "0000") << "round " << round;
  }
  quitEngine(engine);
}

// Games with a real clock between an engine searching with one thread and one with two, colours
// swapped: every move legal, no time loss, no crash. The referee's 100 ms tolerance absorbs the
// scheduling of a machine busy with other tests. (The long version is the soak: `make soak`.)
TEST(E2EThreads, SelfPlayOneAgainstTwoThreads) {
  EngineProcess one;
  EngineProcess two;
  startEngine(one, 1);
  startEngine(two, 2);
  const std::vector<std::string> openings[] = {{"e2e4", "c7c5"}, {"d2d4", "g8f6", "c2c4", "e7e6"}, {}, {}};
  // Then a Chess960 and a Double Fischer Random start, where the referee wants castling written as the
  // king taking its rook (the engine with two threads also has the option on).
  const std::string starts[] = {"", "", "bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w GEge - 0 1",
                                "rkbbqnnr/pppppppp/8/8/8/8/PPPPPPPP/BRKNNQRB w GBha - 0 1"};
  for (int g = 0; g < 4; ++g) {
    if (g == 2) two.send("setoption name UCI_Chess960 value true");
    const testsupport::GameResult game = testsupport::playGame(
        g % 2 ? two : one, g % 2 ? one : two, testsupport::MatchClock{1000, 100, 100}, openings[g], g < 2 ? 24 : 40, starts[g]);
    EXPECT_FALSE(testsupport::isFailure(game.end))
        << testsupport::gameEndName(game.end) << " at ply " << game.plies << ": " << game.detail
        << "\n" << game.moves;
  }
  quitEngine(one);
  quitEngine(two);
}

}  // namespace

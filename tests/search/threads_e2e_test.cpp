// The parallel search through the engine's real pipes: results stay sound with several threads,
// searches stop on request, many searches in a row never hang, games on a clock are never lost on time. Built with ThreadSanitizer the
// engine exits with a non-zero code after any data race, which the tests check at "quit".
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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

struct MateCase {
  const char* fen;
  int mateIn;
};

// A mate is found whatever the number of threads. The distance may come out longer than the
// shortest (razoring against a mate bound can hide the shortest mate at small depths), never
// shorter.
TEST(E2EThreads, MatesAreFoundWithTwoFourAndEightThreads) {
  const MateCase cases[] = {
      {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", 2},
      {"6k1/pp4p1/2p5/2bp4/8/P5Pb/1P3rrP/2BRRN1K b - - 0 1", 2},
      {"2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1", 3},
      {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1", 3},
  };
  for (int threads : {2, 4, 8}) {
    EngineProcess engine;
    startEngine(engine, threads);
    for (const MateCase& c : cases) {
      engine.send("ucinewgame");
      engine.send(std::string("position fen ") + c.fen);
      engine.send("go depth " + std::to_string(2 * c.mateIn + 3));
      std::vector<std::string> lines;
      ASSERT_TRUE(engine.waitFor("bestmove", SEARCH_TIMEOUT_MS, &lines))
          << threads << " threads: no bestmove for " << c.fen;
      std::string lastInfo;
      for (const auto& line : lines)
        if (line.rfind("info depth", 0) == 0) lastInfo = line;
      const int mate = std::atoi(wordAfter(lastInfo, "mate").c_str());
      EXPECT_GE(mate, c.mateIn) << threads << " threads, " << c.fen << ": " << lastInfo;
      EXPECT_LE(mate, c.mateIn + 2) << threads << " threads, " << c.fen << ": " << lastInfo;
    }
    quitEngine(engine);
  }
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

// A hundred short searches in a row with four threads: each ends with "bestmove" in its time.
TEST(E2EThreads, HundredShortSearchesNeverHang) {
  EngineProcess engine;
  startEngine(engine, 4);
  const char* positions[] = {
      "startpos",
      "fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
      "fen r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
      "fen 6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1",
  };
  for (int i = 0; i < 100; ++i) {
    engine.send(std::string("position ") + positions[i % 5]);
    if (i % 3 == 0)
      engine.send("go movetime " + std::to_string(5 + i % 20));
    else if (i % 3 == 1)
      engine.send("go wtime " + std::to_string(200 + 10 * i) + " btime 1000 winc 10 binc 10");
    else
      engine.send("go depth " + std::to_string(2 + i % 6));
    ASSERT_TRUE(engine.waitFor("bestmove", SEARCH_TIMEOUT_MS)) << "search " << i << " hung";
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
  const std::vector<std::string> openings[] = {{"e2e4", "c7c5"}, {"d2d4", "g8f6", "c2c4", "e7e6"}};
  for (int g = 0; g < 2; ++g) {
    const testsupport::GameResult game = testsupport::playGame(g ? two : one, g ? one : two,
                                                               testsupport::MatchClock{1000, 100, 100}, openings[g], 40);
    EXPECT_FALSE(testsupport::isFailure(game.end))
        << testsupport::gameEndName(game.end) << " at ply " << game.plies << ": " << game.detail
        << "\n" << game.moves;
  }
  quitEngine(one);
  quitEngine(two);
}

}  // namespace

// The search through the engine's real pipes: output format, limits, pondering, stop and quit.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/engine_process.h"

namespace {

using testsupport::EngineProcess;

int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void startEngine(EngineProcess& engine, const std::string& position = "position startpos") {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok", 5000));
  engine.send("setoption name Hash value 16");
  engine.send("ucinewgame");
  engine.send(position);
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok", 10000));
}

std::vector<std::string> infoLines(const std::vector<std::string>& lines) {
  std::vector<std::string> infos;
  for (const std::string& line : lines)
    if (line.rfind("info depth", 0) == 0) infos.push_back(line);
  return infos;
}

// The exact widths of the search line: "info depth %2d time %7lld nodes %11lld nps %9lld tbhits %11lld
// score cp %4d pv " (or "score mate %2d pv ") and every move followed by a blank.
TEST(E2ESearch, DepthLimitAndInfoLineFormat) {
  EngineProcess engine;
  startEngine(engine);
  engine.send("go depth 5");
  std::vector<std::string> lines;
  const auto best = engine.waitFor("bestmove", 30000, &lines);
  ASSERT_TRUE(best);
  const std::regex format(
      "info depth [ \\d]{1}\\d time [ \\d]{6}\\d nodes [ \\d]{10}\\d nps [ \\d]{8}\\d tbhits [ \\d]{10}\\d "
      "score (cp [ \\d-]{3}\\d|mate [ \\d-]\\d) pv ([a-h][1-8][a-h][1-8][nbrq]? )+");
  const std::vector<std::string> infos = infoLines(lines);
  ASSERT_EQ(infos.size(), 4u);
  for (const std::string& info : infos) EXPECT_TRUE(std::regex_match(info, format)) << "'" << info << "'";
  EXPECT_EQ(infos.back().substr(0, 13), "info depth  4");
  EXPECT_TRUE(std::regex_match(*best, std::regex("bestmove [a-h][1-8][a-h][1-8] ponder [a-h][1-8][a-h][1-8] ")))
      << *best;
  // The best move is the first move of the last principal variation.
  const std::string firstPv = infos.back().substr(infos.back().find(" pv ") + 4, 4);
  EXPECT_EQ(best->substr(9, 4), firstPv);
}

TEST(E2ESearch, ReportsMateScoresAndMatingMove) {
  EngineProcess engine;
  startEngine(engine, "position fen r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1");
  engine.send("go depth 7");
  std::vector<std::string> lines;
  const auto best = engine.waitFor("bestmove", 30000, &lines);
  ASSERT_TRUE(best);
  const std::vector<std::string> infos = infoLines(lines);
  ASSERT_FALSE(infos.empty());
  EXPECT_NE(infos.back().find("score mate  2 pv d5f6 g7f6 c4f7 "), std::string::npos) << infos.back();
  EXPECT_EQ(best->substr(0, 13), "bestmove d5f6");
}

TEST(E2ESearch, InfiniteAnswersIsreadyAndWaitsForStop) {
  EngineProcess engine;
  startEngine(engine);
  engine.send("go infinite");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  engine.send("isready");
  std::vector<std::string> lines;
  ASSERT_TRUE(engine.waitFor("readyok", 2000, &lines));
  for (const std::string& line : engine.drain(500)) lines.push_back(line);
  for (const std::string& line : lines) EXPECT_NE(line.rfind("bestmove", 0), 0u) << "bestmove before stop";
  const int64_t stopAt = nowMs();
  engine.send("stop");
  ASSERT_TRUE(engine.waitFor("bestmove", 3000));
  EXPECT_LT(nowMs() - stopAt, 3000);
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(5000), 0);
}

TEST(E2ESearch, PonderhitAndStopEndPonderSearches) {
  EngineProcess engine;
  startEngine(engine, "position startpos moves e2e4 e7e5");
  // Stop during pondering: bestmove at once.
  engine.send("go ponder wtime 60000 btime 60000");
  for (const std::string& line : engine.drain(400))
    EXPECT_NE(line.rfind("bestmove", 0), 0u) << "bestmove while pondering";
  engine.send("stop");
  ASSERT_TRUE(engine.waitFor("bestmove", 3000));

  // Ponderhit before the soft deadline: the search goes on under the clock and ends by itself.
  engine.send("go ponder wtime 60000 btime 60000");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  engine.send("ponderhit");
  ASSERT_TRUE(engine.waitFor("bestmove", 15000));

  // Ponderhit after the soft deadline (1 s clock: soft after about 20 ms): stops at once.
  engine.send("go ponder wtime 1000 btime 1000");
  std::vector<std::string> lines = engine.drain(500);
  for (const std::string& line : lines) EXPECT_NE(line.rfind("bestmove", 0), 0u) << "bestmove while pondering";
  engine.send("ponderhit");
  ASSERT_TRUE(engine.waitFor("bestmove", 3000));

  // Without a clock keyword a ponderhit is always late: it ends "infinite" and clockless "ponder".
  for (const char* go : {"go infinite", "go ponder", "go ponder depth 40"}) {
    engine.send(go);
    for (const std::string& line : engine.drain(300)) EXPECT_NE(line.rfind("bestmove", 0), 0u) << go;
    engine.send("ponderhit");
    ASSERT_TRUE(engine.waitFor("bestmove", 5000)) << go;
  }
  engine.send("isready");
  EXPECT_TRUE(engine.waitFor("readyok", 3000));
}

// Time limits: movetime, a clock, and a clock given only for the side not to move (zero time: the
// search ends after its first iteration).
TEST(E2ESearch, ClockLimitsFinishInTime) {
  EngineProcess engine;
  startEngine(engine);
  struct Limit {
    const char* go;
    int64_t maxMs;
  };
  for (const Limit limit : {Limit{"go movetime 1000", 2500}, Limit{"go wtime 2000 btime 2000", 2500},
                            Limit{"go wtime 300 btime 300 winc 100 binc 100", 1500},
                            Limit{"go btime 100", 1500}}) {
    const int64_t start = nowMs();
    engine.send(limit.go);
    std::vector<std::string> lines;
    ASSERT_TRUE(engine.waitFor("bestmove", 10000, &lines)) << limit.go;
    EXPECT_LT(nowMs() - start, limit.maxMs) << limit.go;
    if (std::string(limit.go) == "go btime 100") {
      const std::vector<std::string> infos = infoLines(lines);
      ASSERT_EQ(infos.size(), 1u);
      EXPECT_EQ(infos[0].substr(0, 13), "info depth  1");
    }
  }
}

TEST(E2ESearch, MatedOrStalematedRootPlaysTheNullMove) {
  struct Case {
    const char* position;
    const char* info;
  };
  for (const Case c : {Case{"position fen R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", "info depth 0 score mate 0"},
                       Case{"position fen k7/2Q5/1K6/8/8/8/8/8 b - - 0 1", "info depth 0 score cp 0"}}) {
    EngineProcess engine;
    startEngine(engine, c.position);
    engine.send("go depth 5");
    EXPECT_EQ(engine.readLine(5000).value_or("<none>"), c.info);
    EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "bestmove 0000");
    // Infinite: the null move only after "stop".
    engine.send("go infinite");
    EXPECT_EQ(engine.readLine(5000).value_or("<none>"), c.info);
    EXPECT_TRUE(engine.drain(300).empty());
    engine.send("stop");
    EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "bestmove 0000");
  }
}

// Strength below 100 sleeps (500 - 5 x Strength) x depth ms after each iteration, counted as search
// time; "stop" is still answered at once.
TEST(E2ESearch, StrengthDelayCountsAsSearchTimeAndStopCutsIt) {
  EngineProcess engine;
  startEngine(engine);
  engine.send("setoption name Strength value 90");
  engine.send("go depth 4");
  std::vector<std::string> lines;
  ASSERT_TRUE(engine.waitFor("bestmove", 30000, &lines));
  const std::vector<std::string> infos = infoLines(lines);
  ASSERT_EQ(infos.size(), 3u);
  EXPECT_GE(std::stoll(infos.back().substr(infos.back().find(" time ") + 6)), 50 + 100 + 150) << infos.back();

  engine.send("setoption name Strength value 1");
  engine.send("go infinite");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const int64_t stopAt = nowMs();
  engine.send("stop");
  ASSERT_TRUE(engine.waitFor("bestmove", 3000));
  EXPECT_LT(nowMs() - stopAt, 1000);
}

// With Log on, the "go" line and every search line also go to ./Tesmar.log.
TEST(E2ESearch, LogFileGetsCopiesOfTheSearchLines) {
  const std::string dir = testsupport::makeTempDir();
  std::vector<std::string> lines;
  {
    EngineProcess engine(dir);
    engine.send("setoption name Log value true");
    startEngine(engine);
    engine.send("go depth 3");
    ASSERT_TRUE(engine.waitFor("bestmove", 30000, &lines));
    engine.send("quit");
    EXPECT_EQ(engine.waitExit(5000), 0);
  }
  std::ifstream log(dir + "/Tesmar.log");
  std::stringstream content;
  content << log.rdbuf();
  EXPECT_NE(content.str().find("go depth 3\n"), std::string::npos) << content.str();
  for (const std::string& line : lines)
    EXPECT_NE(content.str().find(line + "\n"), std::string::npos) << "missing in the log: " << line;
}

// Tablebases: a root in the tables is probed at the root (tbhits = its 28 moves, a tablebase score);
// a root above them probes inside the tree once captures reach the tables.
TEST(E2ESearch, TablebaseHitsAtTheRootAndInTheTree) {
  const std::string dir = testsupport::dataDir();
  if (dir.empty()) GTEST_SKIP() << "no test data (syzygy tables)";
  EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + dir + "/syzygy");
  startEngine(engine, "position fen 8/8/8/4k3/8/8/2Q5/4K3 w - - 0 1");
  engine.send("go depth 6");
  std::vector<std::string> lines;
  ASSERT_TRUE(engine.waitFor("bestmove", 30000, &lines));
  std::vector<std::string> infos = infoLines(lines);
  ASSERT_FALSE(infos.empty());
  EXPECT_NE(infos.back().find("tbhits          28 score mate "), std::string::npos) << infos.back();

  // Five pieces: the rook can be won, after which four pieces remain.
  engine.send("position fen 8/8/3k4/8/3r4/8/3Q4/3K4 w - - 0 1");
  engine.send("go depth 6");
  lines.clear();
  ASSERT_TRUE(engine.waitFor("bestmove", 30000, &lines));
  infos = infoLines(lines);
  ASSERT_FALSE(infos.empty());
  const std::string& last = infos.back();
  EXPECT_GT(std::stoll(last.substr(last.find(" tbhits ") + 8)), 0) << last;
  EXPECT_EQ(lines.back().substr(0, 13), "bestmove d2d4");
}

// The book answers timed searches at once, never "go ponder" or "go infinite".
TEST(E2ESearch, BookMovesOnlyWhenNotPondering) {
  const std::string dir = testsupport::dataDir();
  if (dir.empty()) GTEST_SKIP() << "no test data (books)";
  EngineProcess engine;
  engine.send("setoption name OwnBook value true");
  engine.send("setoption name BookFile value " + dir + "/books/lines.bin");
  startEngine(engine);
  engine.send("go wtime 10000 btime 10000");
  EXPECT_TRUE(std::regex_match(engine.readLine(5000).value_or(""), std::regex("bestmove [a-h][1-8][a-h][1-8] ")));
  engine.send("go ponder wtime 10000 btime 10000");
  for (const std::string& line : engine.drain(300))
    EXPECT_NE(line.rfind("bestmove", 0), 0u) << "bestmove while pondering";
  engine.send("stop");
  EXPECT_TRUE(engine.waitFor("bestmove", 3000));
}

TEST(E2ESearch, QuitDuringASearchExitsCleanly) {
  EngineProcess engine;
  startEngine(engine);
  engine.send("go infinite");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(5000), 0);
}

// "bench" prints its fingerprint as the last line, the same in every run.
TEST(E2EBench, NodeCountIsTheSameInTwoRuns) {
  std::string last[2];
  for (std::string& line : last) {
    EngineProcess engine("", {"bench", "5"});
    std::vector<std::string> lines;
    ASSERT_TRUE(engine.waitFor("Nodes/second", 60000, &lines));
    line = engine.readLine(5000).value_or("");
    EXPECT_EQ(engine.waitExit(5000), 0);
    ASSERT_TRUE(std::regex_match(line, std::regex("\\d+ nodes \\d+ nps"))) << line;
  }
  EXPECT_EQ(last[0].substr(0, last[0].find(' ')), last[1].substr(0, last[1].find(' ')));
}

}  // namespace

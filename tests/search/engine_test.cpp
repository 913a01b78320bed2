// The search through the engine's real pipes: output format, limits, pondering, stop and quit.
#include <gtest/gtest.h>

#include <chrono>
#include <algorithm>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "board/board_test_util.h"
#include "search/strength.h"
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
  // The end of the input during a search ends the process cleanly.
  engine.send("go infinite");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  engine.closeInput();
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
  for (const std::string& line : engine.drain(300)) EXPECT_NE(line.rfind("bestmove", 0), 0u) << "soft deadline ~1.3 s";
  ASSERT_TRUE(engine.waitFor("bestmove", 15000));

  // Ponderhit with a single legal move stops at once, though the soft deadline is 12 s away.
  engine.send("position startpos moves e2e4 f7f6 d1h5");
  engine.send("go ponder wtime 600000 btime 600000");
  for (const std::string& line : engine.drain(500)) EXPECT_NE(line.rfind("bestmove", 0), 0u) << "while pondering";
  engine.send("ponderhit");
  ASSERT_TRUE(engine.waitFor("bestmove g7g6", 3000));

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
  struct Limit { const char* go; int64_t maxMs; };
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
  struct Case { const char* position; const char* info; };
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

// The search's fingerprint: the node count of "tesmar bench" (42 positions to depth 12, one thread).
// Any change to a search, evaluation or move-order rule changes it; a commit that changes it on
// purpose records the new number here and in its message as "Bench: N".
constexpr const char* BENCH_NODES = "6729364";

TEST(E2EBench, NodeCountIsTheFingerprint) {
  EngineProcess engine("", {"bench"});
  const auto total = engine.waitFor("Nodes searched: ", 300000);
  ASSERT_TRUE(total) << "bench printed no total";
  EXPECT_EQ(*total, std::string("Nodes searched: ") + BENCH_NODES);
  EXPECT_EQ(engine.waitExit(10000), 0);
}

const char* const kMateInTwo = "r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1";

// One line of a MultiPV iteration; mate scores map beyond every centipawn score.
struct PvLine {
  int depth, multipv, score;
  std::string move, pv;
};

std::vector<PvLine> pvLines(const std::vector<std::string>& infos) {
  static const std::regex format("info depth +(\\d+) multipv (\\d+) time .* score (cp|mate) +(-?\\d+) pv ((\\S+) .*)");
  std::vector<PvLine> lines;
  std::smatch m;
  for (const std::string& info : infos) {
    if (!std::regex_match(info, m, format)) continue;
    const int value = std::stoi(m[4]);
    const int score = m[3] == "cp" ? value : value > 0 ? 100000 - value : -100000 - value;
    lines.push_back({std::stoi(m[1]), std::stoi(m[2]), score, m[6], m[5]});
  }
  return lines;
}

// Every iteration prints min(MultiPV, root moves) lines numbered 1, 2, ... with distinct root moves
// and non-increasing scores; bestmove is the first line's move, and where the best move is known
// MultiPV 1 finds the same.
TEST(E2EAnalysis, MultiPvPrintsTheBestLinesInOrder) {
  struct Case {
    const char* fen;
    int multiPv, threads;
    const char* go;
    size_t lines;
    const char* best;
    bool tablebases = false;  // the root filter leaves one move
  };
  const char* start = board::START_FEN;
  const Case cases[] = {
      {kMateInTwo, 3, 1, "go depth 7", 3, "d5f6"},
      {"7k/8/8/8/8/8/8/K7 w - - 0 1", 10, 1, "go depth 5", 3, nullptr},
      {start, 3, 1, "go depth 7 searchmoves a2a3 h2h4 g1f3 e2e4", 3, nullptr},
      {start, 5, 2, "go depth 6 searchmoves a2a3 h2h4", 2, nullptr},
      {"8/8/3k4/8/3r4/8/3Q4/3K4 w - - 0 1", 40, 1, "go depth 4", 1, "d2d4", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.go);
    if (c.tablebases && testsupport::dataDir().empty()) continue;
    EngineProcess engine;
    if (c.tablebases) engine.send("setoption name SyzygyPath value " + testsupport::dataDir() + "/syzygy");
    startEngine(engine, std::string("position fen ") + c.fen);
    engine.send("setoption name MultiPV value " + std::to_string(c.multiPv));
    engine.send("setoption name Threads value " + std::to_string(c.threads));
    engine.send(c.go);
    std::vector<std::string> lines;
    const auto best = engine.waitFor("bestmove", 60000, &lines);
    ASSERT_TRUE(best);
    const std::vector<std::string> infos = infoLines(lines);
    const std::vector<PvLine> pvs = pvLines(infos);
    ASSERT_EQ(pvs.size(), infos.size()) << "every line carries multipv";
    ASSERT_EQ(pvs.size() % c.lines, 0u);
    const std::string go = c.go;  // with "searchmoves", every line's move is one of them
    const size_t only = go.find("searchmoves");
    for (size_t i = 0; i < pvs.size(); i += c.lines) {
      std::vector<std::string> moves;
      for (size_t k = 0; k < c.lines; ++k) {
        const PvLine& line = pvs[i + k];
        EXPECT_EQ(line.depth, pvs[i].depth);
        EXPECT_EQ(line.multipv, int(k) + 1);
        if (k > 0) { EXPECT_LE(line.score, pvs[i + k - 1].score) << infos[i + k]; }
        EXPECT_TRUE(only == std::string::npos || go.find(" " + line.move, only) != std::string::npos) << infos[i + k];
        EXPECT_EQ(std::find(moves.begin(), moves.end(), line.move), moves.end()) << infos[i + k];
        moves.push_back(line.move);
        static board::Position pos;  // the whole line is legal
        ASSERT_TRUE(board::setupFromFen(pos, c.fen));
        boardtest::playMoves(pos, line.pv);
      }
    }
    const std::string bestMove = best->substr(9, best->find(' ', 9) - 9);
    EXPECT_EQ(bestMove, pvs[pvs.size() - c.lines].move);
    if (c.best) {
      EXPECT_EQ(bestMove, c.best);
      engine.send("setoption name MultiPV value 1");
      engine.send("ucinewgame");
      engine.send(c.go);
      EXPECT_EQ(engine.waitFor("bestmove", 60000).value_or("").substr(0, 13), std::string("bestmove ") + c.best);
    }
  }
}

// "go nodes" with one thread: the same commands give the same search in a fresh engine, after
// "ucinewgame" and after "Clear Hash"; the warm table of a repeated search changes it.
TEST(E2EAnalysis, NodeLimitIsReproducibleAndClearHashActsAsANewGame) {
  auto search = [](EngineProcess& engine) {
    engine.send("position startpos moves e2e4");
    engine.send("go nodes 150000");
    std::vector<std::string> lines;
    const auto best = engine.waitFor("bestmove", 60000, &lines);
    const std::vector<std::string> infos = infoLines(lines);
    if (!best || infos.empty()) return std::string("<none>");
    const std::regex clock(" (time|nps) +\\d+");
    return std::regex_replace(infos.back(), clock, "") + " / " + *best;
  };
  EngineProcess engine, fresh;
  startEngine(engine);
  startEngine(fresh);
  const std::string first = search(engine);
  EXPECT_EQ(search(fresh), first);
  EXPECT_NE(search(engine), first);
  engine.send("setoption name Clear Hash");
  EXPECT_EQ(search(engine), first);
  search(engine);
  engine.send("ucinewgame");
  EXPECT_EQ(search(engine), first);
}

// "go mate N" ends the search with the first iteration that finds a mate in N or fewer; with a
// longer mate the search runs on to its depth limit or clock (-1: not counted).
TEST(E2EAnalysis, GoMateStopsOnceTheMateIsFound) {
  for (const auto& [go, mateLines] : {std::pair{"go mate 2", 1}, {"go mate 3 depth 7", 1}, {"go mate 1 depth 7", 6},
                                      {"go mate 1 movetime 300", -1}}) {
    SCOPED_TRACE(go);
    EngineProcess engine;
    startEngine(engine, std::string("position fen ") + kMateInTwo);
    engine.send(go);
    std::vector<std::string> lines;
    const auto best = engine.waitFor("bestmove", 30000, &lines);
    ASSERT_TRUE(best);
    EXPECT_EQ(best->substr(0, 13), "bestmove d5f6");
    const std::vector<std::string> infos = infoLines(lines);
    ASSERT_FALSE(infos.empty());
    EXPECT_NE(infos.back().find("score mate  2 pv d5f6 "), std::string::npos) << infos.back();
    const auto mates = std::count_if(infos.begin(), infos.end(), [](const std::string& info) {
      return info.find("score mate") != std::string::npos;
    });
    if (mateLines >= 0) { EXPECT_EQ(mates, mateLines); }
  }
}

// UCI_LimitStrength with UCI_Elo: a level searches a fixed budget of nodes whatever the clock and the
// thread count, the options count in either order at "go", and analysis is never weakened.
TEST(E2EStrength, LevelsBudgetPlayButNotAnalysis) {
  // The last info line without its clock fields, then the bestmove line.
  auto search = [](EngineProcess& engine, const std::vector<std::string>& options, const std::string& go) {
    for (const std::string& option : options) engine.send("setoption name " + option);
    engine.send("position startpos moves e2e4 e7e5 g1f3");
    engine.send(go);
    if (go == "go infinite") {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      engine.send("stop");
    }
    std::vector<std::string> lines;
    const auto best = engine.waitFor("bestmove", 30000, &lines);
    const std::vector<std::string> infos = infoLines(lines);
    if (!best || infos.empty()) return std::string("<none>");
    return std::regex_replace(infos.back(), std::regex(" (time|nps) +\\d+"), "") + " / " + *best;
  };
  auto nodes = [](const std::string& result) { return std::stoull(result.substr(result.find(" nodes ") + 7)); };
  const std::string clock = "go wtime 10000 btime 10000 winc 100 binc 100";
  const std::string low = "UCI_Elo value 1000", on = "UCI_LimitStrength value true";
  struct Case {
    std::vector<std::string> options;
    std::string go;
  };
  const Case cases[] = {
      {{}, clock},                                    // 0: full strength
      {{low, on}, clock},                             // 1: the weakest level
      {{on, low}, clock},                             // 2: the other order
      {{on, "UCI_Elo value 5"}, clock},               // 3: clamped to the weakest
      {{on, low, "Threads value 2"}, clock},          // 4: two threads, the same level
      {{on, low}, "go depth 20"},                     // 5: a depth limit is still a move to play
      {{on, "UCI_Elo value 2000"}, clock},            // 6: a strong level
      {{low}, "go depth 6"},                          // 7: UCI_Elo alone changes nothing
      {{}, "go depth 6"},                             // 8
      {{on, low}, "go infinite"},                     // 9: analysis runs on
      {{on, low}, "go nodes 20000"},                  // 10
      {{}, "go nodes 20000"},                         // 11
  };
  std::vector<std::string> results;
  for (const Case& c : cases) {
    EngineProcess engine;
    startEngine(engine);
    results.push_back(search(engine, c.options, c.go));
    ASSERT_NE(results.back(), "<none>") << c.go;
  }
  const uint64_t weakest = search::levelForElo(1000).nodes, strong = search::levelForElo(2000).nodes;
  EXPECT_EQ(results[2], results[1]);
  EXPECT_EQ(results[3], results[1]);
  EXPECT_EQ(results[4], results[1]);
  EXPECT_EQ(results[5], results[1]);
  // The first iteration always completes, so that there is a move to play.
  EXPECT_TRUE(nodes(results[1]) <= weakest || results[1].rfind("info depth  1 ", 0) == 0) << results[1];
  EXPECT_LT(nodes(results[1]) * 10, nodes(results[6]));
  EXPECT_LE(nodes(results[6]), strong);
  EXPECT_LT(nodes(results[1]) * 10, nodes(results[0]));
  EXPECT_EQ(results[7], results[8]);
  EXPECT_GT(nodes(results[9]), 100 * weakest);
  EXPECT_EQ(results[10], results[11]);
}

}  // namespace

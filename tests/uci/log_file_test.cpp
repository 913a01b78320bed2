// New games and the log file through the engine's real pipes: "go" lines and the search's output
// appended to ./Tesmar.log across runs, only while Log was set at the last new game.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

using testsupport::EngineProcess;

// The whole file, or "" when it does not exist.
std::string readFile(const std::string& path) {
  std::string text;
  if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file)) > 0;) text.append(chunk, n);
    std::fclose(file);
  }
  return text;
}

// One run of the engine: the given commands, then a search line, "stop" (which joins the search, so
// its "bestmove" is out) and "isready". Returns what the log should have received from this run:
// the "go" line and the search lines printed on standard output.
std::string runEngine(const std::string& dir, const std::vector<std::string>& setup, const std::string& go) {
  EngineProcess engine(dir);
  for (const std::string& line : setup) engine.send(line);
  engine.send(go);
  engine.send("stop");
  engine.send("isready");
  std::vector<std::string> seen;
  EXPECT_TRUE(engine.waitFor("readyok", 20000, &seen));
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
  std::string expected = go + "\n";
  for (const std::string& line : seen)
    if (line.rfind("info depth", 0) == 0 || line.rfind("bestmove", 0) == 0) expected += line + "\n";
  return expected;
}

TEST(E2ELogFile, GoLinesAndSearchOutputAppendAcrossRuns) {
  const std::string dir = testsupport::makeTempDir();
  const std::string log = dir + "/Tesmar.log";
  const std::vector<std::string> withLog = {"setoption name Hash value 1", "setoption name Log value true",
                                            "ucinewgame", "position startpos moves e2e4"};
  const std::string first = runEngine(dir, withLog, "go depth 3");
  EXPECT_EQ(readFile(log), first);

  // A second run appends below the first.
  const std::string second = runEngine(dir, withLog, "go depth 2 searchmoves e7e5 c7c5");
  EXPECT_EQ(readFile(log), first + second);

  // Log set after the last new game takes effect only at the next one; Log cleared then closes it.
  runEngine(dir, {"setoption name Hash value 1", "ucinewgame", "setoption name Log value true",
                  "position startpos"},
            "go depth 2");
  runEngine(dir, {"setoption name Hash value 1", "setoption name Log value true", "ucinewgame",
                  "setoption name Log value false", "ucinewgame", "position startpos"},
            "go depth 2");
  EXPECT_EQ(readFile(log), first + second);

  // Without "ucinewgame" the first "position" runs the new game, and it opens the log.
  const std::string third =
      runEngine(dir, {"setoption name Hash value 1", "setoption name Log value true", "position startpos"},
                "go wtime 100 btime 100");
  EXPECT_EQ(readFile(log), first + second + third);
}

TEST(E2ELogFile, GoBeforeAnyPositionAndMalformedLinesDoNotCrash) {
  const std::string dir = testsupport::makeTempDir();
  EngineProcess engine(dir);
  for (const char* line :
       {"setoption name Hash value 1", "go depth 2", "stop", "position", "position fen", "position fen xyz",
        "position startpos moves e2e4 e9e5 junk", "position fen 8/8/8/8/8/8/8/8 w - - 0 1 moves a1a2",
        "go depth", "go wtime -5 btime -5", "stop", "go searchmoves zz e2e5", "stop", "go infinite"})
    engine.send(line);
  engine.send("stop");
  engine.send("isready");
  EXPECT_TRUE(engine.waitFor("readyok", 20000));
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

// Whether a 72 GiB request is sure to be refused here rather than granted and then touched: the
// kernel refuses mappings beyond memory plus swap unless overcommit is unconditional.
bool hugeAllocationFails() {
  std::FILE* mode = std::fopen("/proc/sys/vm/overcommit_memory", "r");
  if (!mode) return false;
  int overcommit = 1;
  const bool read = std::fscanf(mode, "%d", &overcommit) == 1;
  std::fclose(mode);
  if (!read || overcommit == 1) return false;
  std::FILE* info = std::fopen("/proc/meminfo", "r");
  if (!info) return false;
  long long totalKb = 0;
  char line[256];
  while (std::fgets(line, sizeof line, info)) {
    long long kb = 0;
    if (std::sscanf(line, "MemTotal: %lld", &kb) == 1 || std::sscanf(line, "SwapTotal: %lld", &kb) == 1)
      totalKb += kb;
  }
  std::fclose(info);
  return totalKb > 0 && totalKb < (48ll << 20);
}

TEST(E2ENewGame, TablebasesRegisterOnceAndAMissingBookIsSilent) {
  EngineProcess engine(testsupport::makeTempDir());
  engine.send("setoption name Hash value 1");
  engine.send("setoption name OwnBook value true");
  engine.send("setoption name BookFile value ./no-such-book.bin");
  engine.send("ucinewgame");
  engine.send("isready");
  EXPECT_EQ(engine.readLine(20000).value_or("<none>"), "info string Found 0 tablebases.");
  EXPECT_EQ(engine.readLine(20000).value_or("<none>"), "readyok");
  engine.send("ucinewgame");
  engine.send("position startpos");
  engine.send("isready");
  EXPECT_EQ(engine.readLine(20000).value_or("<none>"), "readyok");
  // The search runs without the book: it prints its own lines.
  engine.send("go depth 2");
  std::vector<std::string> seen;
  EXPECT_TRUE(engine.waitFor("bestmove", 20000, &seen));
  EXPECT_EQ(seen.front().rfind("info depth  1 ", 0), 0u) << seen.front();
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

TEST(E2ENewGame, AllocationFailureEndsTheProcess) {
  if (!hugeAllocationFails()) GTEST_SKIP() << "this machine might grant a 72 GiB hash";
  EngineProcess engine(testsupport::makeTempDir());
  engine.send("setoption name Hash value 65536");
  engine.send("ucinewgame");
  EXPECT_EQ(engine.readLine(20000).value_or("<none>"), "TT allocation error");
  EXPECT_EQ(engine.waitExit(20000), 1);
}

}  // namespace

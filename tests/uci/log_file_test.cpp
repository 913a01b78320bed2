// New games and the log file through the engine's real pipes.
#include <gtest/gtest.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

using testsupport::EngineProcess;

// Runs the engine in dir: the setup lines, then "go depth N" and "quit". Returns what the log should
// have received: the "go" line and the search's output lines.
std::string runEngine(const std::string& dir, const std::vector<std::string>& setup, const std::string& go,
                      std::vector<std::string>& seen) {
  EngineProcess engine(dir);
  for (const std::string& line : setup) engine.send(line);
  engine.send(go);
  EXPECT_TRUE(engine.waitFor("bestmove", 20000, &seen));
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
  std::string logged = go + "\n";
  for (const std::string& line : seen)
    if (line.rfind("info depth", 0) == 0 || line.rfind("bestmove", 0) == 0) logged += line + "\n";
  EXPECT_GE(std::count(logged.begin(), logged.end(), '\n'), 3) << "a search prints lines to copy";
  return logged;
}

// The log gets the "go" lines and the search output, appended across runs, only while Log was set
// at the last new game. The first run also shows the first new game's output: the tablebase count
// once, however many new games follow, and nothing for a missing book.
TEST(E2ELogFile, GoLinesAndSearchOutputAppendAcrossRuns) {
  const std::string dir = testsupport::makeTempDir();
  const std::string on = "setoption name Log value true", off = "setoption name Log value false";
  struct Case {
    std::vector<std::string> setup;
    const char* go;
    bool logged;
  };
  const Case cases[] = {
      {{on, "setoption name OwnBook value true", "setoption name BookFile value ./none.bin", "ucinewgame",
        "ucinewgame", "position startpos moves e2e4"}, "go depth 3", true},
      {{"ucinewgame", on, "position startpos"}, "go depth 2", false},  // Log set after the new game
      {{on, "ucinewgame", off, "ucinewgame", "position startpos"}, "go depth 2", false},
      {{on, "position startpos"}, "go depth 2", true},  // the first "position" runs the new game
  };
  std::string expected;
  for (const Case& c : cases) {
    std::vector<std::string> setup = {"setoption name Hash value 1"}, seen;
    setup.insert(setup.end(), c.setup.begin(), c.setup.end());
    const std::string logged = runEngine(dir, setup, c.go, seen);
    if (c.logged) expected += logged;
    std::ifstream log(dir + "/Tesmar.log", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(log), {}), expected) << c.go;
    if (&c == cases) {
      ASSERT_GE(seen.size(), 2u);
      EXPECT_EQ(seen[0], "info string Found 0 tablebases.");
      EXPECT_EQ(seen[1].rfind("info depth  1 ", 0), 0u) << seen[1];
    }
  }
}

// Whether a 72 GiB request is sure to be refused here rather than granted and then touched: the
// kernel refuses mappings beyond memory plus swap unless overcommit is unconditional.
bool hugeAllocationFails() {
  std::ifstream mode("/proc/sys/vm/overcommit_memory");
  int overcommit = 1;
  struct sysinfo info {};
  if (!(mode >> overcommit) || overcommit == 1 || sysinfo(&info) != 0) return false;
  const unsigned long long total = (info.totalram + info.totalswap) * (unsigned long long)info.mem_unit;
  return total > 0 && total < (48ull << 30);
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

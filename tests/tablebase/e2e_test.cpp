// The engine with tablebases, through its real pipes.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "support/engine_process.h"
#include "tablebase/tablebase.h"

namespace {

board::Position pos;

// Starts the engine with SyzygyPath set and the probe limit given; waits for the tablebase count.
void startEngine(testsupport::EngineProcess& engine, const std::string& path, int probeLimit) {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok"));
  engine.send("setoption name SyzygyPath value " + path);
  engine.send("setoption name SyzygyProbeLimit value " + std::to_string(probeLimit));
  engine.send("ucinewgame");
  engine.send("isready");
  std::vector<std::string> seen;
  ASSERT_TRUE(engine.waitFor("readyok", 10000, &seen));
  EXPECT_NE(std::find(seen.begin(), seen.end(), "info string Found 35 tablebases."), seen.end());
}

struct SearchOutcome {
  std::string bestMove;
  long long maxTbHits = 0;
  int infoLines = 0;  // lines that report tbhits
};

SearchOutcome search(testsupport::EngineProcess& engine, const std::string& fen, const std::string& go) {
  engine.send("position fen " + fen);
  engine.send(go);
  std::vector<std::string> seen;
  const auto best = engine.waitFor("bestmove", 60000, &seen);
  SearchOutcome out;
  EXPECT_TRUE(best.has_value()) << fen;
  if (!best) return out;
  out.bestMove = best->substr(9, best->find(' ', 9) == std::string::npos ? std::string::npos
                                                                           : best->find(' ', 9) - 9);
  for (const std::string& line : seen) {
    const size_t at = line.find(" tbhits ");
    if (at == std::string::npos) continue;
    ++out.infoLines;
    out.maxTbHits = std::max(out.maxTbHits, std::stoll(line.substr(at + 8)));
  }
  return out;
}

// WDL for the side to move after the move given as text (the opponent's view).
int wdlAfter(const std::string& fen, const std::string& moveText) {
  EXPECT_TRUE(board::setupFromFen(pos, fen));
  board::Move moves[board::MAX_MOVES];
  board::Move* end = board::generateLegalMoves(pos, moves);
  const board::Move wanted = board::textToMove(pos, moveText.c_str());
  for (board::Move* m = moves; m != end; ++m)
    if (board::withoutCheck(*m) == board::withoutCheck(wanted)) {
      board::makeMove(pos, *m);
      int success = 0;
      const int v = tb::probeWdl(pos, success);
      board::unmakeMove(pos);
      EXPECT_NE(success, 0);
      return v;
    }
  ADD_FAILURE() << "illegal best move " << moveText << " in " << fen;
  return 99;
}

class E2ETablebase : public ::testing::Test {
 protected:
  void SetUp() override {
    data = testsupport::dataDir();
    if (data.empty()) GTEST_SKIP() << "test data absent";
    tb::initTablebases((data + "/syzygy").c_str(), false);
  }
  void TearDown() override { tb::initTablebases("", false); }
  std::string data;
};

TEST_F(E2ETablebase, PlaysMovesThatKeepTheResult) {
  testsupport::EngineProcess engine;
  startEngine(engine, data + "/syzygy", 6);
  struct Case {
    const char* fen;
    int wdlAfterBest;  // for the opponent
  };
  const Case cases[] = {
      {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", -2},        // KRvK won
      {"8/8/2k5/8/8/5r2/3Q4/3K4 w - - 0 1", -2},     // KQvKR won
      {"8/8/3k4/8/8/3K4/R7/7r b - - 0 1", 0},        // KRvKR drawn
  };
  for (const Case& c : cases) {
    const SearchOutcome out = search(engine, c.fen, "go depth 6");
    EXPECT_EQ(wdlAfter(c.fen, out.bestMove), c.wdlAfterBest) << c.fen << " " << out.bestMove;
    EXPECT_GT(out.maxTbHits, 0) << c.fen;
  }
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

TEST_F(E2ETablebase, ProbeLimitZeroTurnsProbingOff) {
  testsupport::EngineProcess engine;
  startEngine(engine, data + "/syzygy", 0);
  const SearchOutcome out = search(engine, "8/8/8/4k3/8/8/8/R3K3 w - - 0 1", "go depth 6");
  EXPECT_FALSE(out.bestMove.empty());
  EXPECT_GT(out.infoLines, 0);
  EXPECT_EQ(out.maxTbHits, 0);
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

// Named pipes called like tables are not tables: registration and the first use of a table must not
// wait for a writer, so "isready" is answered and the search plays on without them.
TEST_F(E2ETablebase, NamedPipesAreNotTables) {
  const std::string dir = testsupport::makeTempDir();
  std::filesystem::copy_file(data + "/syzygy/KRvK.rtbw", dir + "/KRvK.rtbw");
  for (const char* name : {"/KQvK.rtbw", "/KRvK.rtbz"}) ASSERT_EQ(::mkfifo((dir + name).c_str(), 0600), 0) << name;
  testsupport::EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + dir);
  engine.send("ucinewgame");
  engine.send("isready");
  std::vector<std::string> seen;
  ASSERT_TRUE(engine.waitFor("readyok", 10000, &seen));
  EXPECT_EQ(seen, (std::vector<std::string>{"info string Found 1 tablebases.", "readyok"}));
  EXPECT_FALSE(search(engine, "8/8/8/4k3/8/8/8/R3K3 w - - 0 1", "go depth 4").bestMove.empty());
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

}  // namespace

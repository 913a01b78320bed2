// The perft tool through the real binary: per-move lines, totals, FEN given as separate words.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

struct ToolRun {
  std::vector<std::string> lines;
  int exitCode;
};

ToolRun runTool(const std::vector<std::string>& args) {
  testsupport::EngineProcess tool("", args);
  ToolRun run;
  while (auto line = tool.readLine(20000)) run.lines.push_back(*line);
  run.exitCode = tool.waitExit(20000);
  return run;
}

TEST(E2EPerftTool, DividedCountsAndTotals) {
  struct Case {
    std::vector<std::string> args;
    size_t rootMoves;
    unsigned long long nodes;
  };
  const Case cases[] = {
      {{"perft", "3"}, 20, 8902},
      {{"perft", "2", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R", "w", "KQkq", "-", "0", "1"}, 48, 2039},
      {{"perft", "1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"}, 14, 14},
  };
  for (const Case& c : cases) {
    const ToolRun run = runTool(c.args);
    ASSERT_EQ(run.exitCode, 0);
    ASSERT_EQ(run.lines.size(), c.rootMoves + 2);
    unsigned long long sum = 0;
    for (size_t i = 0; i < c.rootMoves; ++i) {
      const std::string& line = run.lines[i];
      const size_t colon = line.find(": ");
      ASSERT_TRUE(colon == 4 || colon == 5) << line;
      sum += std::stoull(line.substr(colon + 2));
    }
    EXPECT_EQ(sum, c.nodes);
    EXPECT_EQ(run.lines[c.rootMoves], "Nodes searched: " + std::to_string(c.nodes));
    EXPECT_EQ(run.lines[c.rootMoves + 1].rfind("Nodes/second: ", 0), 0u);
  }
  const std::vector<std::string> divided = runTool({"perft", "2"}).lines;
  EXPECT_NE(std::find(divided.begin(), divided.end(), "e2e4: 20"), divided.end());
}

TEST(E2EPerftTool, BadArgumentsPrintNothingOnStandardOutput) {
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"perft"}, {"perft", "x"}, {"perft", "2", "not", "a", "fen"}}) {
    const ToolRun run = runTool(args);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.lines.empty());
  }
}

}  // namespace

// The perft tool through the real binary: per-move lines, totals, FEN given as separate words, and
// nothing on standard output (exit code 2) for bad arguments, to perft or bench.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

TEST(E2EPerftTool, DividedCountsAndTotals) {
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    size_t rootMoves;
    unsigned long long nodes;
  };
  const Case cases[] = {
      {{"perft", "3"}, 0, 20, 8902},
      {{"perft", "2", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R", "w", "KQkq", "-"}, 0, 48, 2039},
      {{"perft", "1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"}, 0, 14, 14},
      {{"perft", "0"}, 0, 0, 1},
      {{"perft"}, 2, 0, 0},
      {{"bench", "0"}, 2, 0, 0},
      {{"bench", "4", "65"}, 2, 0, 0},
      {{"perft", "2", "not", "a", "fen"}, 2, 0, 0},
  };
  for (const Case& c : cases) {
    testsupport::EngineProcess tool("", c.args);
    std::vector<std::string> lines;
    while (auto line = tool.readLine(20000)) lines.push_back(*line);
    EXPECT_EQ(tool.waitExit(20000), c.exitCode);
    if (c.exitCode != 0) {
      EXPECT_TRUE(lines.empty());
      continue;
    }
    ASSERT_EQ(lines.size(), c.rootMoves + 2);
    unsigned long long sum = 0;
    for (size_t i = 0; i < c.rootMoves; ++i) {
      const size_t colon = lines[i].find(": ");
      ASSERT_TRUE(colon == 4 || colon == 5) << lines[i];
      sum += std::stoull(lines[i].substr(colon + 2));
    }
    EXPECT_EQ(sum, c.rootMoves ? c.nodes : 0);
    EXPECT_EQ(lines[c.rootMoves], "Nodes searched: " + std::to_string(c.nodes));
    EXPECT_EQ(lines[c.rootMoves + 1].rfind("Nodes/second: ", 0), 0u);
    EXPECT_TRUE(c.nodes != 8902 || std::find(lines.begin(), lines.end(), "e2e4: 600") != lines.end());
  }
}

}  // namespace

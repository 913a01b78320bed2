// Leaf counts of the published perft positions and the suite in the shared test data. The default
// run checks each position up to the deepest depth whose count stays under PERFT_DEFAULT_LEAVES;
// with TESMAR_PERFT_FULL=1 in the environment every listed depth is checked, and TESMAR_PERFT_LEAVES=N
// sets another cap (the sanitizer builds use a small one).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "board/fen.h"
#include "board/perft.h"
#include "support/engine_process.h"

namespace {

constexpr uint64_t PERFT_DEFAULT_LEAVES = 20'000'000;

// Checks the lines first..last (1-based, inclusive) of a suite: "FEN ;D1 n ;D2 n ...". The Chess960
// suites are long (960 starts, 480 middle games), so their default run stops at fewer leaves.
void checkLines(int first, int last, const std::string& file = "perft.epd",
                uint64_t defaultLeaves = PERFT_DEFAULT_LEAVES) {
  std::ifstream in(testsupport::dataDir() + "/" + file);
  if (!in) GTEST_SKIP() << file << " not found";
  const char* fullEnv = std::getenv("TESMAR_PERFT_FULL");
  const bool full = fullEnv && std::string(fullEnv) == "1";
  const char* capEnv = std::getenv("TESMAR_PERFT_LEAVES");
  const uint64_t cap = std::min(defaultLeaves, capEnv && std::atoll(capEnv) > 0 ? uint64_t(std::atoll(capEnv)) : PERFT_DEFAULT_LEAVES);
  auto pos = std::make_unique<board::Position>();
  int checked = 0, number = 0;
  for (std::string line; std::getline(in, line);) {
    if (++number < first || number > last) continue;
    std::istringstream fields(line);
    std::string fen, item;
    std::getline(fields, fen, ';');
    ASSERT_TRUE(board::setupFromFen(*pos, fen)) << "line " << number << ": " << fen;
    while (std::getline(fields, item, ';')) {
      std::istringstream words(item);
      std::string depth;
      uint64_t leaves = 0;
      if (!(words >> depth >> leaves) || depth.size() < 2 || depth[0] != 'D') continue;
      if (!full && leaves > cap) break;
      EXPECT_EQ(board::perft(*pos, std::stoi(depth.substr(1))), leaves) << "line " << number << " " << depth;
      ++checked;
    }
  }
  EXPECT_GT(checked, 0);
}

TEST(PerftSuite, PublishedPositions) { checkLines(1, 6); }
TEST(PerftSuite, GamePositions) { checkLines(7, 86); }
TEST(PerftSuite, ClassicSuite) { checkLines(87, 1000); }
// Chess960 and Double Fischer Random, castling rights in Shredder-FEN, both colours to move.
TEST(PerftSuite, Chess960Starts) { checkLines(1, 960, "chess960/starts.epd", 250'000); }
TEST(PerftSuite, Chess960MiddleGames) { checkLines(1, 480, "chess960/positions.epd", 1'000'000); }
TEST(PerftSuite, Chess960AndDfrcRandomPlay) { checkLines(1, 120, "chess960/random.epd", 2'000'000); }

}  // namespace

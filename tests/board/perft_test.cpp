// Leaf counts of the published perft positions and the suite in the shared test data. The default
// run checks each position up to the deepest depth whose count stays under PERFT_DEFAULT_LEAVES;
// with TESMAR_PERFT_FULL=1 in the environment every listed depth is checked, and TESMAR_PERFT_LEAVES=N
// sets another cap (the sanitizer builds use a small one).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/perft.h"
#include "support/engine_process.h"

namespace {

constexpr uint64_t PERFT_DEFAULT_LEAVES = 20'000'000;

struct PerftLine {
  int lineNumber;
  std::string fen;
  std::vector<std::pair<int, uint64_t>> counts;  // depth, leaves
};

std::vector<PerftLine> readSuite(const std::string& path) {
  std::vector<PerftLine> result;
  std::ifstream in(path);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    std::istringstream fields(line);
    PerftLine entry{number, "", {}};
    std::getline(fields, entry.fen, ';');
    while (entry.fen.size() && entry.fen.back() == ' ') entry.fen.pop_back();
    std::string item;
    while (std::getline(fields, item, ';')) {
      std::istringstream words(item);
      std::string depth;
      uint64_t leaves = 0;
      if (words >> depth >> leaves && depth.size() > 1 && depth[0] == 'D')
        entry.counts.emplace_back(std::stoi(depth.substr(1)), leaves);
    }
    if (!entry.fen.empty()) result.push_back(entry);
  }
  return result;
}

// Checks the lines first..last (1-based, inclusive) of the suite.
void checkLines(int first, int last) {
  const std::string dir = testsupport::dataDir();
  if (dir.empty()) GTEST_SKIP() << "test data directory not found";
  const std::vector<PerftLine> suite = readSuite(dir + "/perft.epd");
  if (suite.empty()) GTEST_SKIP() << "perft.epd not found in " << dir;
  const char* fullEnv = std::getenv("TESMAR_PERFT_FULL");
  const bool full = fullEnv && std::string(fullEnv) == "1";
  const char* capEnv = std::getenv("TESMAR_PERFT_LEAVES");
  const uint64_t cap = capEnv && std::atoll(capEnv) > 0 ? uint64_t(std::atoll(capEnv)) : PERFT_DEFAULT_LEAVES;
  auto pos = std::make_unique<board::Position>();
  int checked = 0;
  for (const PerftLine& entry : suite) {
    if (entry.lineNumber < first || entry.lineNumber > last) continue;
    ASSERT_TRUE(board::setupFromFen(*pos, entry.fen)) << "line " << entry.lineNumber << ": " << entry.fen;
    for (const auto& [depth, leaves] : entry.counts) {
      if (!full && leaves > cap) break;
      EXPECT_EQ(board::perft(*pos, depth), leaves) << "line " << entry.lineNumber << " depth " << depth << ": "
                                                   << entry.fen;
      ++checked;
    }
  }
  EXPECT_GT(checked, 0);
}

TEST(PerftSuite, PublishedPositions) { checkLines(1, 6); }
TEST(PerftSuite, GamePositions) { checkLines(7, 86); }
TEST(PerftSuite, ClassicSuite) { checkLines(87, 1000); }

}  // namespace

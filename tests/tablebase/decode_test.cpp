// Table set-up and the fixed normalisation tables of the index encoding.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/engine_process.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_internal.h"

namespace {

std::vector<std::string> tableNames(const std::string& dir, const char* suffix) {
  std::vector<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* f = readdir(d)) {
      const std::string file = f->d_name;
      const size_t dot = file.rfind('.');
      if (dot != std::string::npos && file.substr(dot) == suffix) names.push_back(file.substr(0, dot));
    }
    closedir(d);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Sets up the table file dir/name+suffix; false when it cannot be mapped or fails a check.
bool setUp(const std::string& dir, const std::string& name, bool wdl, tb::TableEntry& e) {
  if (!tb::describeName(e, name.c_str())) return false;
  int error = 0;
  const std::string path = dir + "/" + name + (wdl ? ".rtbw" : ".rtbz");
  if (platform::mapFile(path.c_str(), e.mapping, error) != platform::MapResult::OK) return false;
  return tb::setupTable(e, wdl);
}

class TablebaseDecode : public ::testing::Test {
 protected:
  void SetUp() override { tb::initTablebases("", false); }  // fills the normalisation tables
};

TEST_F(TablebaseDecode, NormalisationTables) {
  int count = 0, maxValue = -1;
  for (const auto& row : tb::kingPairIndex)
    for (const int16_t v : row)
      if (v >= 0) {
        ++count;
        maxValue = std::max<int>(maxValue, v);
      }
  EXPECT_EQ(count, 462);
  EXPECT_EQ(maxValue, 461);
  EXPECT_EQ(tb::kingPairIndex[0][3], 0);  // kings on b1 and d1
  for (int n = 0; n < 64; ++n) {
    EXPECT_EQ(tb::binomial[0][n], uint64_t(n));
    EXPECT_EQ(tb::binomial[1][n], uint64_t(n * (n - 1) / 2));
  }
  // Triangle numbers: b1 c1 d1 c2 d2 d3 a1 b2 c3 d4, and their mirror images fold onto them.
  const int squares[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};
  for (int t = 0; t < 10; ++t) {
    const int s = squares[t];
    EXPECT_EQ(tb::triangle[s], t);
    EXPECT_EQ(tb::triangle[s ^ 7], t);
    EXPECT_EQ(tb::triangle[s ^ 56], t);
    EXPECT_EQ(tb::triangle[tb::flipDiag[s]], t);
  }
  // One leading pawn: six ranks per file group.
  for (int g = 0; g < 4; ++g) EXPECT_EQ(tb::pawnFactor[0][g], 6u);
  EXPECT_EQ(tb::pawnTwist[8], 47);   // a2
  EXPECT_EQ(tb::pawnTwist[12], 10);  // e2
  EXPECT_EQ(tb::pawnFlap[15], 0);    // h2
}

TEST_F(TablebaseDecode, EveryPublishedFileSetsUp) {
  const std::string data = testsupport::dataDir();
  if (data.empty()) GTEST_SKIP() << "test data absent";
  for (const char* sub : {"/syzygy", "/syzygy-alt"}) {
    const std::string dir = data + sub;
    for (const bool wdl : {true, false}) {
      const auto names = tableNames(dir, wdl ? ".rtbw" : ".rtbz");
      EXPECT_FALSE(names.empty()) << dir;
      for (const std::string& name : names) {
        tb::TableEntry e;
        EXPECT_TRUE(setUp(dir, name, wdl, e)) << dir << "/" << name << (wdl ? ".rtbw" : ".rtbz");
      }
    }
  }
}

}  // namespace

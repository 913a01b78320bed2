// Registration from SyzygyPath directories and first use of table files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "board/fen.h"
#include "support/engine_process.h"
#include "tablebase/tablebase.h"

namespace {

void copyFile(const std::string& from, const std::string& to, long keep = -1) {
  std::ifstream in(from, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (keep >= 0 && size_t(keep) < bytes.size()) bytes.resize(size_t(keep));
  std::ofstream(to, std::ios::binary).write(bytes.data(), long(bytes.size()));
}

std::string registerAndCapture(const std::string& path) {
  ::testing::internal::CaptureStdout();
  tb::initTablebases(path.c_str());
  return ::testing::internal::GetCapturedStdout();
}

// Probes WDL of a FEN, capturing what is printed.
int probe(const char* fen, int& success, std::string& printed) {
  static board::Position pos;
  EXPECT_TRUE(board::setupFromFen(pos, fen)) << fen;
  ::testing::internal::CaptureStdout();
  const int v = tb::probeWdl(pos, success);
  printed = ::testing::internal::GetCapturedStdout();
  return v;
}

constexpr const char* KRVK_WON = "8/8/8/4k3/8/8/8/R3K3 w - - 0 1";
constexpr const char* KQVK_WON = "8/8/8/4k3/8/8/8/1Q2K3 w - - 0 1";

class TablebaseRegistry : public ::testing::Test {
 protected:
  void SetUp() override {
    data = testsupport::dataDir();
    if (data.empty()) GTEST_SKIP() << "test data absent";
  }
  void TearDown() override { tb::initTablebases("", false); }
  std::string data;
};

TEST_F(TablebaseRegistry, CountsTheTablesOfEachPath) {
  struct Case {
    std::string path;
    std::string printed;
    int largest;
  };
  const std::string dir = testsupport::makeTempDir();
  copyFile(data + "/syzygy/KRvK.rtbw", dir + "/KRvK.rtbw");
  const Case cases[] = {
      {data + "/syzygy", "info string Found 35 tablebases.\n", 4},
      {data + "/syzygy-alt", "info string Found 3 tablebases.\n", 3},
      {dir, "info string Found 1 tablebases.\n", 3},
      {";;" + dir + ";", "info string Found 1 tablebases.\n", 3},
      {"", "", 0},
      {dir + "/missing", "info string Found 0 tablebases.\n", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(registerAndCapture(c.path), c.printed) << c.path;
    EXPECT_EQ(tb::largestTable(), c.largest) << c.path;
  }
}

TEST_F(TablebaseRegistry, SymmetricTableServesBothColours) {
  registerAndCapture(data + "/syzygy");
  std::string printed;
  int success = 0;
  // KRvKR with either side to move and either colour's rook hanging.
  EXPECT_EQ(probe("8/8/8/3k4/8/8/3K4/R6r w - - 0 1", success, printed), 2);
  EXPECT_EQ(success, 2);  // the capture decides
  EXPECT_EQ(probe("r6R/3k4/8/8/8/8/3K4/8 b - - 0 1", success, printed), 2);
  EXPECT_NE(success, 0);
  EXPECT_EQ(probe("8/8/8/3k4/8/8/3K4/R6r b - - 0 1", success, printed), 2);
  EXPECT_EQ(printed, "");
}

TEST_F(TablebaseRegistry, FirstDirectoryWins) {
  const std::string good = testsupport::makeTempDir(), bad = testsupport::makeTempDir();
  copyFile(data + "/syzygy/KQvK.rtbw", good + "/KQvK.rtbw");
  copyFile(data + "/syzygy/KRvK.rtbw", bad + "/KQvK.rtbw");  // a file of the wrong table
  std::string printed;
  int success = 0;

  registerAndCapture(good + ";" + bad);
  EXPECT_EQ(probe(KQVK_WON, success, printed), 2);
  EXPECT_NE(success, 0);
  EXPECT_EQ(printed, "");

  registerAndCapture(bad + ":" + good);
  probe(KQVK_WON, success, printed);
  EXPECT_EQ(success, 0);
  EXPECT_EQ(printed, "info string Corrupted table.\n");
}

TEST_F(TablebaseRegistry, MissingOrDamagedFileDisablesItsTableOnce) {
  struct Case {
    const char* what;
    long keep;  // bytes of the real file kept; -1: deleted after registration
    const char* firstMessage;
  };
  const Case cases[] = {
      {"deleted", -1, "info string Could not find KRvK.rtbw\n"},
      {"empty", 0, "info string Corrupted table.\n"},
      {"magic only", 4, "info string Corrupted table.\n"},
      {"truncated", 150, "info string Corrupted table.\n"},
  };
  for (const Case& c : cases) {
    const std::string dir = testsupport::makeTempDir();
    const std::string file = dir + "/KRvK.rtbw";
    copyFile(data + "/syzygy/KRvK.rtbw", file, c.keep);
    registerAndCapture(dir);
    if (c.keep < 0) ::unlink(file.c_str());
    std::string printed;
    int success = 1;
    EXPECT_EQ(probe(KRVK_WON, success, printed), 0) << c.what;
    EXPECT_EQ(success, 0) << c.what;
    EXPECT_EQ(printed, c.firstMessage) << c.what;
    // Later probes of that material, from either side, fail without a word.
    probe(KRVK_WON, success, printed);
    EXPECT_EQ(success, 0);
    probe("8/8/8/4K3/8/8/8/r3k3 b - - 0 1", success, printed);
    EXPECT_EQ(success, 0);
    EXPECT_EQ(printed, "") << c.what;
  }
}

// A DTZ file of a symmetric table that claims, for one pawn file, to be stored for the other side
// to move would send the probe one ply deeper at every ply; the probe gives up instead.
TEST_F(TablebaseRegistry, DamagedSideFlagEndsTheDtzProbe) {
  const std::string dir = testsupport::makeTempDir();
  copyFile(data + "/syzygy/KPvKP.rtbw", dir + "/KPvKP.rtbw");
  std::ifstream in(data + "/syzygy/KPvKP.rtbz", std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(bytes.size(), 31u);
  ASSERT_EQ(bytes[30], 0x02);  // the flags of the first file's table: a value map follows
  bytes[30] |= 1;
  std::ofstream(dir + "/KPvKP.rtbz", std::ios::binary).write(bytes.data(), long(bytes.size()));
  registerAndCapture(dir);

  static board::Position pos;
  // Won without a pawn move or capture that keeps the win: the DTZ table decides.
  for (const char* fen : {"5K2/8/8/8/p7/P7/8/1k6 b - - 0 1", "1K6/8/p7/P7/8/8/8/5k2 w - - 0 1"}) {
    ASSERT_TRUE(board::setupFromFen(pos, fen));
    int success = 1;
    (void)tb::probeDtz(pos, success);
    EXPECT_EQ(board::stackIndex(pos), 0);
    success = 0;
    EXPECT_EQ(tb::probeWdl(pos, success), 2) << fen;  // the WDL file is intact
    EXPECT_NE(success, 0);
  }
}

}  // namespace

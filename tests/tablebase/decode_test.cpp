// Table files: registration from SyzygyPath, missing, damaged, truncated and foreign files (every
// published file decoding right, and so the index encoding's tables: probe_test).
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "board/fen.h"
#include "support/engine_process.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_internal.h"

namespace {

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
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

class TablebaseRegistry : public ::testing::Test {
 protected:
  void SetUp() override {
    tb::initTablebases("", false);
    data = testsupport::dataDir();
    if (data.empty()) GTEST_SKIP() << "test data absent";
  }
  void TearDown() override { tb::initTablebases("", false); }
  std::string data;
};

// Numberings that only encodings of five pieces and more use, which the four-piece vectors never reach:
// squares off the a1-h8 diagonal by their triangle, then the diagonal; choices of four and five pieces.
TEST_F(TablebaseRegistry, FivePieceNumberings) {
  EXPECT_EQ(std::vector<int>(tb::lower, tb::lower + 10), (std::vector<int>{28, 0, 1, 2, 3, 4, 5, 6, 0, 29}));
  EXPECT_EQ(tb::lower[63], 35);
  EXPECT_EQ(tb::binomial[3][63], 595665u);  // 63 * 62 * 61 * 60 / 24
  EXPECT_EQ(tb::binomial[4][63], 7028847u);
}

// Set-up from bytes in memory, exactly sized so that a sanitizer build sees any read past them.
bool setUpFromBytes(const std::string& name, bool wdl, std::string bytes) {
  tb::TableEntry e;
  EXPECT_TRUE(tb::describeName(e, name.c_str()));
  e.mapping.data = bytes.empty() ? nullptr : reinterpret_cast<uint8_t*>(bytes.data());
  e.mapping.size = bytes.size();
  const bool ok = tb::setupTable(e, wdl);
  e.mapping = platform::MappedFile{};  // not ours to unmap
  return ok;
}

TEST_F(TablebaseRegistry, DamagedFilesAreRefused) {
  // Tables without and with pawns, split and symmetric, with and without value maps.
  const std::pair<const char*, bool> cases[] = {{"KRvK", true},  {"KRvK", false}, {"KPvKP", true}, {"KPvKP", false},
                                                {"KBNvK", true}, {"KRvKR", true}, {"KPPvK", false}, {"KQvKR", false}};
  for (const auto& [name, wdl] : cases) {
    const std::string bytes = readFile(data + "/syzygy/" + name + (wdl ? ".rtbw" : ".rtbz"));
    ASSERT_FALSE(bytes.empty()) << name;
    EXPECT_TRUE(setUpFromBytes(name, wdl, bytes)) << name;
    EXPECT_FALSE(setUpFromBytes(name, !wdl, bytes)) << name << " read as the other kind";
    EXPECT_FALSE(setUpFromBytes(name, wdl, char(bytes[0] ^ 1) + bytes.substr(1))) << name << " magic";
    // Truncated anywhere inside the tables (the last 16 bytes are a checksum, then padding).
    for (size_t cut = 0; cut + 80 < bytes.size(); cut += 1 + bytes.size() / 97)
      EXPECT_FALSE(setUpFromBytes(name, wdl, bytes.substr(0, cut))) << name << " cut at " << cut;
  }
}

TEST_F(TablebaseRegistry, CountsTheTablesOfEachPath) {
  struct Case { std::string path, printed; int largest; };
  const std::string dir = testsupport::makeTempDir();
  writeFile(dir + "/KRvK.rtbw", readFile(data + "/syzygy/KRvK.rtbw"));
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

// Which file answers: a symmetric table for either colour, the first directory that holds a name;
// a file of the wrong table is refused with a message.
TEST_F(TablebaseRegistry, WhichFileAnswers) {
  const std::string good = testsupport::makeTempDir(), bad = testsupport::makeTempDir();
  writeFile(good + "/KQvK.rtbw", readFile(data + "/syzygy/KQvK.rtbw"));
  writeFile(bad + "/KQvK.rtbw", readFile(data + "/syzygy/KRvK.rtbw"));
  const char* kqk = "8/8/8/4k3/8/8/8/1Q2K3 w - - 0 1";
  struct Case {
    std::string path;  // registered before the probe unless empty
    const char* fen;
    int wdl, success;  // success -1: any but 0
    const char* printed;
  };
  const Case cases[] = {
      {data + "/syzygy", "8/8/8/3k4/8/8/3K4/R6r w - - 0 1", 2, 2, ""},  // KRvKR: the capture decides
      {"", "r6R/3k4/8/8/8/8/3K4/8 b - - 0 1", 2, -1, ""},
      {"", "8/8/8/3k4/8/8/3K4/R6r b - - 0 1", 2, -1, ""},
      {good + ";" + bad, kqk, 2, -1, ""},
      {bad + ":" + good, kqk, 0, 0, "info string Corrupted table.\n"},
  };
  for (const Case& c : cases) {
    if (!c.path.empty()) registerAndCapture(c.path);
    std::string printed;
    int success = 0;
    EXPECT_EQ(probe(c.fen, success, printed), c.wdl) << c.fen;
    EXPECT_TRUE(c.success < 0 ? success != 0 : success == c.success) << c.fen << " " << success;
    EXPECT_EQ(printed, c.printed) << c.fen;
  }
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
    writeFile(file, readFile(data + "/syzygy/KRvK.rtbw").substr(0, size_t(c.keep)));
    registerAndCapture(dir);
    if (c.keep < 0) ::unlink(file.c_str());
    std::string printed;
    int success = 1;
    EXPECT_EQ(probe(KRVK_WON, success, printed), 0) << c.what;
    EXPECT_EQ(success, 0) << c.what;
    EXPECT_EQ(printed, c.firstMessage) << c.what;
    // Later probes of that material, from either side, fail without a word.
    for (const char* fen : {KRVK_WON, "8/8/8/4K3/8/8/8/r3k3 b - - 0 1"}) {
      probe(fen, success, printed);
      EXPECT_TRUE(success == 0 && printed.empty()) << c.what << " " << fen;
    }
  }
}

// A DTZ file of a symmetric table that claims, for one pawn file, to be stored for the other side
// to move would send the probe one ply deeper at every ply; the probe gives up instead.
TEST_F(TablebaseRegistry, DamagedSideFlagEndsTheDtzProbe) {
  const std::string dir = testsupport::makeTempDir();
  writeFile(dir + "/KPvKP.rtbw", readFile(data + "/syzygy/KPvKP.rtbw"));
  std::string bytes = readFile(data + "/syzygy/KPvKP.rtbz");
  ASSERT_EQ(bytes.substr(30, 1), "\x02");  // the flags of the first file's table: a value map follows
  bytes[30] |= 1;
  writeFile(dir + "/KPvKP.rtbz", bytes);
  registerAndCapture(dir);

  static board::Position pos;
  // Won without a pawn move or capture that keeps the win: the DTZ table decides.
  for (const char* fen : {"5K2/8/8/8/p7/P7/8/1k6 b - - 0 1", "1K6/8/p7/P7/8/8/8/5k2 w - - 0 1"}) {
    ASSERT_TRUE(board::setupFromFen(pos, fen));
    int success = 0;
    (void)tb::probeDtz(pos, success);
    EXPECT_EQ(board::stackIndex(pos), 0);
    EXPECT_EQ(tb::probeWdl(pos, success), 2) << fen;  // the WDL file is intact
    EXPECT_NE(success, 0);
  }
}

}  // namespace

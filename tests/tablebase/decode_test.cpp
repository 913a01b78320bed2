// Table set-up and the fixed normalisation tables of the index encoding.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
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

std::vector<uint8_t> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Sets up a table from bytes in memory (exactly sized, so that a sanitizer build sees any read past
// them) and, when that succeeds, decodes values across every stored table. Returns whether the
// set-up succeeded.
bool setUpAndDecode(const std::string& name, bool wdl, const std::vector<uint8_t>& bytes) {
  tb::TableEntry e;
  EXPECT_TRUE(tb::describeName(e, name.c_str()));
  std::vector<uint8_t> copy(bytes);
  e.mapping.data = copy.empty() ? nullptr : copy.data();
  e.mapping.size = copy.size();
  const bool ok = tb::setupTable(e, wdl);
  if (ok)
    for (int f = 0; f < e.files; ++f)
      for (int side = 0; side < (e.split ? 2 : 1); ++side) {
        const tb::PairsData& d = e.fileTables[size_t(f)].pairs[side];
        const uint64_t n = d.indexBits ? d.indexEntries << d.indexBits : 1;
        int value;
        for (uint64_t i = 0; i < n; i += 1 + n / 300) (void)tb::decompressValue(d, i, value);
      }
  e.mapping = platform::MappedFile{};  // not ours to unmap
  return ok;
}

TEST_F(TablebaseDecode, DamagedFilesAreRefusedOrDecodedSafely) {
  const std::string data = testsupport::dataDir();
  if (data.empty()) GTEST_SKIP() << "test data absent";
  struct Case {
    const char* name;
    bool wdl;
  };
  // Tables without and with pawns, split and symmetric, with and without value maps.
  const Case cases[] = {{"KRvK", true}, {"KRvK", false}, {"KPvKP", true}, {"KPvKP", false},
                        {"KBNvK", true}, {"KRvKR", true}, {"KPPvK", false}, {"KQvKR", false}};
  for (const Case& c : cases) {
    const auto bytes = readFile(data + "/syzygy/" + c.name + (c.wdl ? ".rtbw" : ".rtbz"));
    ASSERT_FALSE(bytes.empty()) << c.name;
    EXPECT_TRUE(setUpAndDecode(c.name, c.wdl, bytes)) << c.name;

    auto wrongMagic = bytes;
    wrongMagic[0] ^= 1;
    EXPECT_FALSE(setUpAndDecode(c.name, c.wdl, wrongMagic)) << c.name;
    EXPECT_FALSE(setUpAndDecode(c.name, !c.wdl, bytes)) << c.name << " read as the other kind";

    // Truncated anywhere inside the tables (the last 16 bytes are a checksum, then padding).
    for (size_t cut = 0; cut + 80 < bytes.size(); cut += 1 + bytes.size() / 97) {
      const std::vector<uint8_t> head(bytes.begin(), bytes.begin() + long(cut));
      EXPECT_FALSE(setUpAndDecode(c.name, c.wdl, head)) << c.name << " cut at " << cut;
    }
    // Every byte of the headers changed in turn: refused, or decoded without leaving the file.
    for (size_t at = 4; at < std::min<size_t>(bytes.size(), 128); ++at)
      for (const uint8_t mask : {uint8_t(0x01), uint8_t(0xFF)}) {
        auto damaged = bytes;
        damaged[at] ^= mask;
        (void)setUpAndDecode(c.name, c.wdl, damaged);
      }
  }
}

}  // namespace

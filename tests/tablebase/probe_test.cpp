// Probing against positions whose values an independent Syzygy reader computed, colour-mirrored
// twins, the older file encodings, the root filter and the probe tool.
#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "support/engine_process.h"
#include "tablebase/tablebase.h"

namespace {

struct Vector {
  std::string fen;
  int wdl;
  int dtz;
  std::string table;
};

std::string trim(const std::string& s) {
  const size_t a = s.find_first_not_of(" \t\r");
  const size_t b = s.find_last_not_of(" \t\r");
  return a == std::string::npos ? "" : s.substr(a, b - a + 1);
}

std::vector<Vector> readVectors(const std::string& path) {
  std::vector<Vector> vectors;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::stringstream fields(line);
    std::string fen, wdl, dtz, table;
    std::getline(fields, fen, ';');
    std::getline(fields, wdl, ';');
    std::getline(fields, dtz, ';');
    std::getline(fields, table, ';');
    vectors.push_back({trim(fen), std::stoi(wdl), std::stoi(dtz), trim(table)});
  }
  return vectors;
}

// The same position with colours swapped and the board turned over.
std::string mirrorFen(const std::string& fen) {
  std::stringstream in(fen);
  std::string placement, side, castling, ep, rest;
  in >> placement >> side >> castling >> ep;
  std::getline(in, rest);
  std::vector<std::string> ranks;
  std::stringstream rankText(placement);
  for (std::string r; std::getline(rankText, r, '/');) ranks.insert(ranks.begin(), r);
  std::string out;
  for (size_t i = 0; i < ranks.size(); ++i) {
    if (i) out += '/';
    for (const char c : ranks[i])
      out += char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
  }
  if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
  return out + (side == "w" ? " b " : " w ") + "- " + ep + rest;
}

board::Position pos;

class TablebaseProbe : public ::testing::Test {
 protected:
  void SetUp() override {
    data = testsupport::dataDir();
    if (data.empty()) GTEST_SKIP() << "test data absent";
    vectors = readVectors(data + "/syzygy_vectors.txt");
    ASSERT_EQ(vectors.size(), 798u);
  }
  void TearDown() override { tb::initTablebases("", false); }
  std::string data;
  std::vector<Vector> vectors;
};

// Every vector, and its colour-mirrored twin, with the current files; the first failure of each
// kind is reported with its position.
void checkVectors(const std::vector<Vector>& vectors, bool onlyAltTables) {
  int checked = 0;
  for (const Vector& v : vectors) {
    if (onlyAltTables && v.table != "KQvK" && v.table != "KRvK" && v.table != "KPvK") continue;
    for (const std::string& fen : {v.fen, mirrorFen(v.fen)}) {
      ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
      const board::BoardState before = board::currentState(pos);
      int success = 0;
      const int wdl = tb::probeWdl(pos, success);
      ASSERT_NE(success, 0) << fen;
      ASSERT_EQ(wdl, v.wdl) << fen << " (" << v.table << ")";
      const int dtz = tb::probeDtz(pos, success);
      ASSERT_NE(success, 0) << fen;
      ASSERT_EQ(dtz, v.dtz) << fen << " (" << v.table << ")";
      ASSERT_EQ(board::stackIndex(pos), 0);
      ASSERT_EQ(std::memcmp(&before, &board::currentState(pos), sizeof before), 0);
      ++checked;
    }
  }
  EXPECT_GT(checked, 0);
}

TEST_F(TablebaseProbe, EveryVectorAndItsMirrorImage) {
  tb::initTablebases((data + "/syzygy").c_str(), false);
  checkVectors(vectors, false);
}

TEST_F(TablebaseProbe, OlderEncodingsGiveTheSameValues) {
  tb::initTablebases((data + "/syzygy-alt").c_str(), false);
  checkVectors(vectors, true);
}

// Several threads meet every table at its first use at the same time (the set-up is serialised,
// later reads are lock-free); each sees the right values.
TEST_F(TablebaseProbe, ThreadsShareFirstUse) {
  tb::initTablebases((data + "/syzygy").c_str(), false);
  std::atomic<int> wrong{0};
  auto work = [&](int offset) {
    auto own = std::make_unique<board::Position>();
    for (size_t i = 0; i < vectors.size(); ++i) {
      const Vector& v = vectors[(i + size_t(offset)) % vectors.size()];
      int success = 0;
      if (!board::setupFromFen(*own, v.fen) || tb::probeWdl(*own, success) != v.wdl || !success)
        wrong.fetch_add(1);
    }
  };
  std::thread a(work, 0), b(work, 0), c(work, 400);
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(wrong.load(), 0);
}

// Root filter: the values of the moves kept and dropped.
struct RootResult {
  std::vector<board::Move> kept, all;
  int score = 0;
};

RootResult rootProbe(const std::string& fen) {
  RootResult r;
  EXPECT_TRUE(board::setupFromFen(pos, fen)) << fen;
  board::Move moves[board::MAX_MOVES];
  int count = int(board::generateLegalMoves(pos, moves) - moves);
  r.all.assign(moves, moves + count);
  EXPECT_TRUE(tb::rootProbe(pos, moves, count, r.score)) << fen;
  r.kept.assign(moves, moves + count);
  return r;
}

// WDL and DTZ for the side to move after a move.
void valuesAfter(board::Move m, int& wdl, int& dtz) {
  board::makeMove(pos, m);
  int success = 0;
  wdl = tb::probeWdl(pos, success);
  EXPECT_NE(success, 0);
  dtz = board::currentState(pos).halfmoveClock == 0 ? 0 : tb::probeDtz(pos, success);
  EXPECT_NE(success, 0);
  board::unmakeMove(pos);
}

TEST_F(TablebaseProbe, RootFilterKeepsTheBestResult) {
  tb::initTablebases((data + "/syzygy").c_str(), false);

  // Won: every kept move keeps the win; hanging the rook is dropped. Score: 32700 + 15*2 - 100*1.
  RootResult won = rootProbe("8/8/8/4k3/R7/8/8/4K3 w - - 0 1");
  EXPECT_EQ(won.score, 32630);
  EXPECT_LT(won.kept.size(), won.all.size());
  for (const board::Move m : won.kept) {
    int wdl, dtz;
    valuesAfter(m, wdl, dtz);
    EXPECT_EQ(wdl, -2);
  }

  // Won with the fifty-move counter at 90 and a distance of 15 to zeroing: score 0, and only the
  // fastest moves survive (all of them with the same distance).
  int wdl = 0, dtz = 0;
  EXPECT_TRUE(board::setupFromFen(pos, "8/8/8/4k3/R7/8/8/4K3 w - - 0 1"));
  int success = 0;
  const int rootDtz = tb::probeDtz(pos, success);
  EXPECT_GT(rootDtz, 0);
  std::string fen = "8/8/8/4k3/R7/8/8/4K3 w - - " + std::to_string(101 - rootDtz) + " 1";
  RootResult spoiled = rootProbe(fen);
  EXPECT_EQ(spoiled.score, 0);
  ASSERT_FALSE(spoiled.kept.empty());
  int firstDtz = 0;
  for (size_t i = 0; i < spoiled.kept.size(); ++i) {
    valuesAfter(spoiled.kept[i], wdl, dtz);
    if (i == 0) firstDtz = dtz;
    EXPECT_EQ(dtz, firstDtz);
    EXPECT_LT(dtz, 0);
  }
  EXPECT_LT(spoiled.kept.size(), won.kept.size());

  // Drawn KRvKR: only moves that keep the draw.
  RootResult drawn = rootProbe("8/8/3k4/8/8/3K4/R7/7r w - - 0 1");
  EXPECT_LT(drawn.kept.size(), drawn.all.size());
  EXPECT_EQ(drawn.score, 0);
  EXPECT_FALSE(drawn.kept.empty());
  for (const board::Move m : drawn.kept) {
    valuesAfter(m, wdl, dtz);
    EXPECT_EQ(wdl, 0);
  }

  // Lost with the counter at 0: every move is kept.
  RootResult lost = rootProbe("8/8/8/4K3/8/8/8/r3k3 w - - 0 1");
  EXPECT_EQ(lost.kept.size(), lost.all.size());
  EXPECT_EQ(lost.score, 100 * 1 - 15 * 2 - 32700);
}

TEST_F(TablebaseProbe, ProbeToolPrintsValuesAndMoves) {
  struct Case {
    std::vector<std::string> args;
    std::vector<std::string> lines;
    int exitCode;
  };
  const std::string dir = data + "/syzygy";
  // Only KPvK: a drawn pawn on the seventh has its values, but scoring a8=Q needs the missing KQvK.
  const std::string pawnOnly = testsupport::makeTempDir();
  for (const char* suffix : {".rtbw", ".rtbz"})
    std::filesystem::copy_file(dir + "/KPvK" + suffix, pawnOnly + "/KPvK" + suffix);
  const Case cases[] = {
      {{"probe", dir, "4k3/8/8/8/8/8/8/4K2R w - - 0 1"}, {"wdl 2", "dtz ", "moves "}, 0},
      {{"probe", dir, "8/8/8/8/8/8/8/K1k5 w - - 0 1"}, {"wdl 0", "dtz 0", "moves "}, 0},
      {{"probe", pawnOnly, "8/Pk6/8/8/8/8/8/7K w - - 0 1"}, {"wdl 0", "dtz 0", "moves not available"}, 0},
      {{"probe", dir, "4k3/8/8/8/8/8/8/KQRB4 w - - 0 1"}, {"position not in the tablebases"}, 1},
      {{"probe", dir, "not a fen"}, {"invalid FEN"}, 1},
  };
  for (const Case& c : cases) {
    testsupport::EngineProcess tool("", c.args);
    for (const std::string& expected : c.lines) {
      const auto line = tool.readLine();
      ASSERT_TRUE(line.has_value()) << c.args[2];
      EXPECT_EQ(line->substr(0, expected.size()), expected) << c.args[2];
    }
    EXPECT_EQ(tool.waitExit(), c.exitCode) << c.args[2];
  }
}

}  // namespace

// Probing against values an independent Syzygy reader computed (and colour-mirrored twins, older
// encodings), the root filter, the probe tool, the engine through its pipes.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "support/engine_process.h"
#include "tablebase/tablebase.h"
#include "uci/position_go.h"

namespace {

struct Vector {
  std::string fen;
  int wdl = 0, dtz = 0;
  std::string table;
};

// Lines "FEN ; wdl ; dtz ; table".
std::vector<Vector> readVectors(const std::string& path) {
  std::vector<Vector> vectors;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    const size_t semicolon = line.find(';');
    if (line.empty() || line[0] == '#' || semicolon == std::string::npos) continue;
    Vector v;
    v.fen = line.substr(0, line.find_last_not_of(' ', semicolon - 1) + 1);
    char separator;
    std::istringstream(line.substr(semicolon + 1)) >> v.wdl >> separator >> v.dtz >> separator >> v.table;
    vectors.push_back(v);
  }
  return vectors;
}

// The same position with colours swapped and the board turned over.
std::string mirrorFen(const std::string& fen) {
  std::istringstream in(fen);
  std::string placement, side, castling, ep, rest, out;
  in >> placement >> side >> castling >> ep;
  std::getline(in, rest);
  std::istringstream rankText(placement);
  for (std::string rank; std::getline(rankText, rank, '/');) {
    for (char& c : rank) c = char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
    out = out.empty() ? rank : rank + "/" + out;
  }
  if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
  return out + (side == "w" ? " b " : " w ") + "- " + ep + rest;
}

board::Position pos;

// WDL and DTZ for the side to move after a move (DTZ 0 after a zeroing move).
void valuesAfter(board::Move m, int& wdl, int& dtz) {
  board::makeMove(pos, m);
  int wdlSuccess = 0, dtzSuccess = 1;
  wdl = tb::probeWdl(pos, wdlSuccess);
  dtz = board::currentState(pos).halfmoveClock == 0 ? 0 : tb::probeDtz(pos, dtzSuccess);
  EXPECT_TRUE(wdlSuccess && dtzSuccess);
  board::unmakeMove(pos);
}

class TablebaseProbe : public ::testing::Test {
 protected:
  void SetUp() override {
    data = testsupport::dataDir();
    if (data.empty()) GTEST_SKIP() << "test data absent";
    vectors = readVectors(data + "/syzygy_vectors.txt");
    ASSERT_EQ(vectors.size(), 798u);
    tb::initTablebases((data + "/syzygy").c_str(), false);
  }
  void TearDown() override { tb::initTablebases("", false); }
  std::string data;
  std::vector<Vector> vectors;
};

// Every vector and its colour-mirrored twin, with both directories (the older encodings hold three
// tables); the first failure is reported with its position.
TEST_F(TablebaseProbe, EveryVectorAndItsMirrorImage) {
  for (const char* dir : {"/syzygy", "/syzygy-alt"}) {
    tb::initTablebases((data + dir).c_str(), false);
    const bool alt = dir[7] == '-';
    int checked = 0;
    for (const Vector& v : vectors) {
      if (alt && v.table != "KQvK" && v.table != "KRvK" && v.table != "KPvK") continue;
      for (const std::string& fen : {v.fen, mirrorFen(v.fen)}) {
        ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
        const board::BoardState before = board::currentState(pos);
        int wdlSuccess = 0, dtzSuccess = 0;
        ASSERT_EQ(tb::probeWdl(pos, wdlSuccess), v.wdl) << fen << " (" << v.table << ") " << dir;
        ASSERT_EQ(tb::probeDtz(pos, dtzSuccess), v.dtz) << fen << " (" << v.table << ") " << dir;
        ASSERT_TRUE(wdlSuccess && dtzSuccess) << fen;
        ASSERT_EQ(board::stackIndex(pos), 0);
        ASSERT_EQ(std::memcmp(&before, &board::currentState(pos), sizeof before), 0);
        ++checked;
      }
    }
    EXPECT_EQ(checked, alt ? 2 * 72 : 2 * 798) << dir;
  }
}

// The root filter's score and the values after the moves it keeps.
TEST_F(TablebaseProbe, RootFilterKeepsTheBestResult) {
  const std::string won = "8/8/8/4k3/R7/8/8/4K3 w - - ";
  ASSERT_TRUE(board::setupFromFen(pos, won + "0 1"));
  int success = 0;
  const int rootDtz = tb::probeDtz(pos, success);
  ASSERT_GT(rootDtz, 0);
  struct Case {
    std::string fen;
    int score;
    int wdlAfter;       // of every kept move, for the opponent
    bool allKept, sameDistance;  // sameDistance: every kept move reaches zeroing equally fast
  };
  const Case cases[] = {
      {won + "0 1", 32700 + 15 * 2 - 100 * 1, -2, false, false},  // hanging the rook is dropped
      // The fifty-move counter leaves just enough plies: score 0, only the fastest moves.
      {won + std::to_string(101 - rootDtz) + " 1", 0, -2, false, true},
      {won + std::to_string(100 - rootDtz) + " 1", 32700 + 15 * 2 - 100 * 1, -2, false, false},  // one ply more
      {"8/8/3k4/8/8/3K4/R7/7r w - - 0 1", 0, 0, false, false},  // drawn KRvKR: moves that keep the draw
      {"8/8/8/4K3/8/8/8/r3k3 w - - 0 1", 100 * 1 - 15 * 2 - 32700, 2, true, false},  // lost: all kept
  };
  int previousKept = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fen);
    ASSERT_TRUE(board::setupFromFen(pos, c.fen));
    board::Move moves[board::MAX_MOVES];
    const int all = int(board::generateLegalMoves(pos, moves) - moves);
    int count = all, score = 0;
    ASSERT_TRUE(tb::rootProbe(pos, moves, count, score));
    EXPECT_EQ(score, c.score);
    ASSERT_GT(count, 0);
    EXPECT_EQ(count == all, c.allKept) << count << " of " << all;
    int firstDtz = 0;
    for (int i = 0; i < count; ++i) {
      int wdl = 0, dtz = 0;
      valuesAfter(moves[i], wdl, dtz);
      EXPECT_EQ(wdl, c.wdlAfter);
      if (i == 0) firstDtz = dtz;
      EXPECT_TRUE(!c.sameDistance || (dtz == firstDtz && dtz < 0)) << dtz;
    }
    EXPECT_TRUE(!c.sameDistance || count < previousKept) << count;
    previousKept = count;
  }
  // Without the fifty-move rule a win or loss that the count spoils scores as a win or loss.
  for (const auto& [fen, rule, score] : {std::tuple{won + "99 1", true, 0},
                                         {won + "99 1", false, 32700 + 15 * 2 - 100 * 1},
                                         {"8/8/8/4K3/8/8/8/r3k3 w - - 99 1", true, 0},
                                         {"8/8/8/4K3/8/8/8/r3k3 w - - 99 1", false, 100 * 1 - 15 * 2 - 32700}}) {
    ASSERT_TRUE(board::setupFromFen(pos, fen));
    board::Move moves[board::MAX_MOVES];
    int count = int(board::generateLegalMoves(pos, moves) - moves), value = 1;
    ASSERT_TRUE(tb::rootProbe(pos, moves, count, value, rule));
    EXPECT_EQ(value, score) << fen << " " << rule;
  }
}

TEST_F(TablebaseProbe, ProbeToolPrintsValuesAndMoves) {
  const std::string dir = data + "/syzygy";
  // Only KPvK: a drawn pawn on the seventh has its values, but scoring a8=Q needs the missing KQvK.
  const std::string pawnOnly = testsupport::makeTempDir();
  for (const char* suffix : {".rtbw", ".rtbz"})
    std::filesystem::copy_file(dir + "/KPvK" + suffix, pawnOnly + "/KPvK" + suffix);
  struct Case { std::string path; const char* fen; std::vector<std::string> lines; };  // lines: their first words
  const Case cases[] = {
      {dir, "4k3/8/8/8/8/8/8/4K2R w - - 0 1", {"wdl 2", "dtz ", "moves "}},
      {dir, "8/8/8/8/8/8/8/K1k5 w - - 0 1", {"wdl 0", "dtz 0", "moves "}},
      // An en-passant capture wins, or saves a draw that the table alone (a loss) would not see.
      {dir, "7k/8/8/3pP3/8/8/8/K7 w - d6 0 1", {"wdl 2", "dtz 1", "moves e5d6"}},
      {dir, "k7/8/8/8/3Pp3/8/8/7K b - d3 0 1", {"wdl 2", "dtz 1", "moves e4d3"}},
      {dir, "8/8/8/8/3pP3/8/7k/5K2 b - e3 0 1", {"wdl 0", "dtz 0", "moves d4e3"}},
      {pawnOnly, "8/Pk6/8/8/8/8/8/7K w - - 0 1", {"wdl 0", "dtz 0", "moves not available"}},
      {dir, "4k3/8/8/8/8/8/8/KQRB4 w - - 0 1", {"position not in the tablebases"}},
      {dir, "not a fen", {"invalid FEN"}},
  };
  for (const Case& c : cases) {
    testsupport::EngineProcess tool("", {"probe", c.path, c.fen});
    for (const std::string& expected : c.lines)
      EXPECT_EQ(tool.readLine().value_or("<none>").substr(0, expected.size()), expected) << c.fen;
    EXPECT_EQ(tool.waitExit(), c.lines.size() == 3 ? 0 : 1) << c.fen;
  }
}

// The best move's result for the opponent, tablebase hits in the "info" lines; with
// SyzygyProbeLimit 0 no hits. The tablebase count is printed at the first new game.
class E2ETablebase : public TablebaseProbe {};

TEST_F(E2ETablebase, PlaysMovesThatKeepTheResult) {
  testsupport::EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + data + "/syzygy");
  engine.send("ucinewgame");
  engine.send("isready");
  std::vector<std::string> seen;
  ASSERT_TRUE(engine.waitFor("readyok", 10000, &seen));
  EXPECT_EQ(seen, (std::vector<std::string>{"info string Found 35 tablebases.", "readyok"}));
  // The last "info" line (time and speed aside) pins the scores of tablebase hits, as the bench pins the search.
  struct Case { const char* fen; int wdlAfterBest, probeLimit; const char* last; };
  constexpr int NOT_IN_TABLES = 9;  // the best move keeps five pieces
  const Case cases[] = {
      {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", -2, 6,  // KRvK won
       "info depth  5 nodes         991 tbhits          15 score mate 35 pv e1f2 e5e4 a1a7 e4f4 a7d7 "},
      {"8/8/2k5/8/8/5r2/3Q4/3K4 w - - 0 1", -2, 6,  // KQvKR won
       "info depth  5 nodes        2844 tbhits          26 score mate 85 pv d2g2 c6c7 g2f3 c7d6 f3e3 "},
      {"8/8/3k4/8/8/3K4/R7/7r b - - 0 1", 0, 6,  // KRvKR drawn
       "info depth  5 nodes        6919 tbhits          22 score cp    0 pv d6d5 a2a5 d5e6 a5a7 e6d5 a7e7 h1h3 e7e3 h3e3 "},
      {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", -2, 0,  // probing off
       "info depth  5 nodes         991 tbhits           0 score cp  563 pv e1f2 e5e4 a1a7 e4f4 a7d7 "},
      {"8/8/3k4/8/3r4/8/3Q4/3K2N1 w - - 0 1", -2, 6,  // five pieces: Qxd4 wins
       "info depth  5 nodes         115 tbhits           4 score mate 28 pv d2d4 d6e6 "},
      {"8/8/3k4/8/3r4/3N4/3Q4/3K4 b - - 0 1", NOT_IN_TABLES, 6,  // five pieces, lost
       "info depth  5 nodes       11593 tbhits         135 score cp -919 pv d4d5 d2f4 d6d7 f4f7 d7c6 d1e2 d5d4 "},
      {"7k/5N2/7K/8/8/8/6Q1/5r2 b - - 0 1", 2, 6,  // five pieces, the one legal move lets White win
       "info depth  5 nodes          19 tbhits           4 score mate -85 pv f1f7 g2a8 f7f8 a8f8 "},
  };
  for (const Case& c : cases) {
    engine.send("setoption name SyzygyProbeLimit value " + std::to_string(c.probeLimit));
    engine.send(std::string("position fen ") + c.fen);
    engine.send("go depth 6");
    std::vector<std::string> lines;
    const auto best = engine.waitFor("bestmove", 60000, &lines);
    ASSERT_TRUE(best) << c.fen;
    long long tbHits = 0;
    for (const std::string& line : lines)
      if (const size_t at = line.find(" tbhits "); at != std::string::npos)
        tbHits = std::max(tbHits, std::stoll(line.substr(at + 8)));
    ASSERT_GT(lines.size(), 1u) << c.fen;
    EXPECT_EQ(std::regex_replace(lines[lines.size() - 2], std::regex(" (time|nps) +\\d+"), ""), c.last);
    EXPECT_EQ(tbHits > 0, c.probeLimit > 0) << c.fen;
    ASSERT_TRUE(board::setupFromFen(pos, c.fen));
    const std::string text = best->substr(9, best->find(' ', 9) - 9);
    const board::Move move = uci::legalMoveFromText(pos, text.c_str(), int(text.size()));
    ASSERT_NE(move, 0u) << *best;
    int wdl = NOT_IN_TABLES, dtz = 0;
    if (c.wdlAfterBest != NOT_IN_TABLES) valuesAfter(move, wdl, dtz);
    EXPECT_EQ(wdl, c.wdlAfterBest) << c.fen << " " << *best;
  }
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

// UCI_ShowWDL: every score carries the side to move's chances, summing to 1000 and leaning with the
// score; mates and results the tables prove are certain. SyzygyProbeDepth above every depth the search
// reaches leaves the tree without probes.
TEST_F(E2ETablebase, WdlChancesAndProbeDepth) {
  testsupport::EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + data + "/syzygy");
  engine.send("setoption name UCI_ShowWDL value true");
  struct Case { const char* fen; int probeDepth; const char* last; bool hits; };  // last: in the last "info"
  const Case cases[] = {
      {"8/8/8/4k3/8/8/8/R3K3 w - - 0 1", 1, " score mate 35 wdl 1000 0 0 pv ", true},   // proven win
      {"8/8/3k4/8/8/3K4/R7/7r b - - 0 1", 1, " score cp    0 wdl 0 1000 0 pv ", true},  // proven draw
      {"8/8/3k4/8/3r4/3N4/3Q4/3K4 b - - 0 1", 1, " wdl ", true},                     // five pieces, lost
      {"8/8/3k4/8/3r4/3N4/3Q4/3K4 b - - 0 1", 7, " wdl ", false},
      {"7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", 1, "info depth 0 score mate 0 wdl 0 0 1000", false},  // mated
  };
  const std::regex scored(" score (cp|mate) +(-?\\d+) wdl (\\d+) (\\d+) (\\d+) pv ");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fen);
    engine.send("setoption name SyzygyProbeDepth value " + std::to_string(c.probeDepth));
    engine.send(std::string("position fen ") + c.fen);
    engine.send("go depth 6");
    std::vector<std::string> lines;
    ASSERT_TRUE(engine.waitFor("bestmove", 60000, &lines));
    ASSERT_GT(lines.size(), 1u);
    EXPECT_NE(lines[lines.size() - 2].find(c.last), std::string::npos) << lines[lines.size() - 2];
    bool hits = false;
    for (size_t i = 0; i + 1 < lines.size(); ++i) {
      std::smatch m;
      if (!std::regex_search(lines[i], m, scored)) continue;
      hits |= lines[i].find(" tbhits           0 ") == std::string::npos;
      const int score = std::stoi(m[2]), win = std::stoi(m[3]), draw = std::stoi(m[4]), loss = std::stoi(m[5]);
      EXPECT_TRUE(win + draw + loss == 1000 && (score == 0 || (score > 0) == (win > loss)) &&
                  (m[1] != "mate" || win == 1000 || loss == 1000)) << lines[i];
    }
    EXPECT_EQ(hits, c.hits);
  }
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

// Named pipes called like tables are not tables: registration and the first use of a table must not
// wait for a writer, so "isready" is answered and the search plays on without them (no hit counted).
TEST_F(E2ETablebase, NamedPipesAreNotTables) {
  const std::string dir = testsupport::makeTempDir();
  std::filesystem::copy_file(data + "/syzygy/KRvK.rtbw", dir + "/KRvK.rtbw");
  for (const char* name : {"/KQvK.rtbw", "/KRvK.rtbz"}) ASSERT_EQ(::mkfifo((dir + name).c_str(), 0600), 0) << name;
  testsupport::EngineProcess engine;
  engine.send("setoption name SyzygyPath value " + dir);
  engine.send("ucinewgame");
  engine.send("position fen 8/8/8/4k3/8/8/8/R3K3 w - - 0 1");
  engine.send("go depth 4");
  std::vector<std::string> seen;
  ASSERT_TRUE(engine.waitFor("bestmove", 20000, &seen));
  EXPECT_EQ(seen.front(), "info string Found 1 tablebases.");
  EXPECT_NE(seen[seen.size() - 2].find(" tbhits           0 "), std::string::npos) << seen[seen.size() - 2];
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

}  // namespace

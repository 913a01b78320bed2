// The book through the engine's real pipes: answered at once on "go", searched on "go ponder" and
// "go infinite", unused with OwnBook off or a missing file, restricted by "searchmoves", logged.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/position.h"
#include "book/book.h"
#include "support/engine_process.h"

namespace {

using testsupport::EngineProcess;

constexpr uint64_t START_KEY = 0x463b96181691fc9cULL;

struct Record {
  uint64_t key;
  int from, to;
  uint16_t weight;
};

int square(const char* text) { return (text[0] - 'a') + 8 * (text[1] - '1'); }

std::string writeBook(const std::string& path, const std::vector<Record>& records) {
  std::string bytes;
  for (const Record& r : records) {
    const uint16_t move = uint16_t(r.to | r.from << 6);
    for (int i = 7; i >= 0; --i) bytes.push_back(char(r.key >> (8 * i)));
    bytes.push_back(char(move >> 8));
    bytes.push_back(char(move));
    bytes.push_back(char(r.weight >> 8));
    bytes.push_back(char(r.weight));
    bytes.append(4, '\0');
  }
  std::FILE* f = std::fopen(path.c_str(), "wb");
  EXPECT_NE(f, nullptr) << path;
  if (f) {
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  return path;
}

Record rec(uint64_t key, const char* move, uint16_t weight) {
  return {key, square(move), square(move + 2), weight};
}

std::string trimRight(std::string s) {
  while (!s.empty() && (s.back() == ' ' || s.back() == '\r')) s.pop_back();
  return s;
}

// Sends the setup and a "go" line; returns every line up to and including "bestmove".
std::vector<std::string> goAndCollect(EngineProcess& engine, const std::string& position,
                                      const std::string& go) {
  engine.send(position);
  engine.send(go);
  std::vector<std::string> lines;
  engine.waitFor("bestmove", 20000, &lines);
  return lines;
}

bool hasInfo(const std::vector<std::string>& lines) {
  for (const auto& l : lines)
    if (l.rfind("info depth", 0) == 0) return true;
  return false;
}

// "ucinewgame" and "isready": nothing but the tablebase count may be printed before "readyok".
void newGame(EngineProcess& engine) {
  engine.send("ucinewgame");
  engine.send("isready");
  std::vector<std::string> lines;
  ASSERT_TRUE(engine.waitFor("readyok", 10000, &lines).has_value());
  lines.pop_back();
  for (const auto& l : lines) EXPECT_EQ(l.rfind("info string Found ", 0), 0u) << l;
}

void startWithBook(EngineProcess& engine, const std::string& bookPath, bool alwaysBest = true) {
  engine.send("setoption name Hash value 1");
  engine.send("setoption name OwnBook value true");
  engine.send("setoption name BookFile value " + bookPath);
  if (!alwaysBest) engine.send("setoption name AlwaysBestBookMove value false");
  newGame(engine);
}

TEST(E2EBook, GoIsAnsweredAtOnceFromTheBook) {
  const std::string dir = testsupport::makeTempDir();
  // A path with a blank.
  const std::string book = writeBook(dir + "/my book.bin", {rec(START_KEY, "e2e4", 10)});
  EngineProcess engine;
  startWithBook(engine, book);
  auto lines = goAndCollect(engine, "position startpos", "go wtime 60000 btime 60000");
  ASSERT_EQ(lines.size(), 1u) << "only the bestmove line is printed";
  EXPECT_EQ(trimRight(lines[0]), "bestmove e2e4");
  // Out of book: the search runs.
  lines = goAndCollect(engine, "position startpos moves e2e4", "go depth 2");
  EXPECT_TRUE(hasInfo(lines));
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

TEST(E2EBook, BlackCastlesFromAKingTakesRookRecord) {
  const char* fen = "r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R b KQkq - 0 1";
  board::Position pos;
  ASSERT_TRUE(board::setupFromFen(pos, fen));
  const std::string dir = testsupport::makeTempDir();
  const std::string book = writeBook(dir + "/book.bin", {rec(book::polyglotKey(pos), "e8h8", 1)});
  EngineProcess engine;
  startWithBook(engine, book);
  auto lines = goAndCollect(engine, std::string("position fen ") + fen, "go wtime 60000 btime 60000");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(trimRight(lines[0]), "bestmove e8g8");
}

TEST(E2EBook, PonderAndInfiniteSearchInstead) {
  const std::string dir = testsupport::makeTempDir();
  const std::string book = writeBook(dir + "/book.bin", {rec(START_KEY, "e2e4", 10)});
  EngineProcess engine;
  startWithBook(engine, book);
  for (const char* go : {"go infinite", "go ponder wtime 60000 btime 60000"}) {
    engine.send("position startpos");
    engine.send(go);
    std::vector<std::string> lines;
    ASSERT_TRUE(engine.waitFor("info depth", 20000, &lines).has_value()) << go;
    for (const auto& l : lines) EXPECT_NE(l.rfind("bestmove", 0), 0u) << go;
    engine.send("stop");
    ASSERT_TRUE(engine.waitFor("bestmove", 20000).has_value()) << go;
  }
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

TEST(E2EBook, NoBookWithOwnBookOffOrAMissingFile) {
  const std::string dir = testsupport::makeTempDir();
  const std::string book = writeBook(dir + "/book.bin", {rec(START_KEY, "e2e4", 10)});
  {
    EngineProcess engine;
    engine.send("setoption name Hash value 1");
    engine.send("setoption name BookFile value " + book);
    newGame(engine);
    EXPECT_TRUE(hasInfo(goAndCollect(engine, "position startpos", "go depth 2")));
  }
  {
    EngineProcess engine;
    engine.send("setoption name Hash value 1");
    engine.send("setoption name OwnBook value true");
    engine.send("setoption name BookFile value " + dir + "/missing book.bin");
    newGame(engine);  // a missing book is silent
    EXPECT_TRUE(hasInfo(goAndCollect(engine, "position startpos", "go depth 2")));
  }
}

TEST(E2EBook, SearchmovesRestrictTheBookMove) {
  const std::string dir = testsupport::makeTempDir();
  const std::string book = writeBook(
      dir + "/book.bin", {rec(START_KEY, "e2e4", 50), rec(START_KEY, "d2d4", 50), rec(START_KEY, "c2c4", 50)});
  EngineProcess engine;
  startWithBook(engine, book);
  for (int i = 0; i < 5; ++i) {
    auto lines = goAndCollect(engine, "position startpos", "go searchmoves d2d4 wtime 60000 btime 60000");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(trimRight(lines[0]), "bestmove d2d4");
  }
}

TEST(E2EBook, RealBookAndLogCopy) {
  const std::string data = testsupport::dataDir();
  if (data.empty()) GTEST_SKIP() << "test data directory absent";
  // Moves of the start position's run in lines.bin, read independently of the engine.
  std::set<std::string> startMoves;
  std::FILE* f = std::fopen((data + "/books/lines.bin").c_str(), "rb");
  ASSERT_NE(f, nullptr);
  unsigned char b[16];
  while (std::fread(b, 1, 16, f) == 16) {
    uint64_t key = 0;
    for (int i = 0; i < 8; ++i) key = key << 8 | b[i];
    if (key != START_KEY) continue;
    const int move = b[8] << 8 | b[9];
    const int from = (move >> 6) & 63, to = move & 63;
    startMoves.insert(std::string{char('a' + (from & 7)), char('1' + (from >> 3)), char('a' + (to & 7)),
                                  char('1' + (to >> 3))});
  }
  std::fclose(f);
  ASSERT_FALSE(startMoves.empty());

  const std::string dir = testsupport::makeTempDir();
  EngineProcess engine(dir);
  engine.send("setoption name Log value true");
  startWithBook(engine, data + "/books/lines.bin", false);
  std::set<std::string> played;
  for (int i = 0; i < 10; ++i) {
    auto lines = goAndCollect(engine, "position startpos", "go wtime 60000 btime 60000");
    ASSERT_EQ(lines.size(), 1u);
    const std::string move = trimRight(lines[0]).substr(9);
    EXPECT_TRUE(startMoves.count(move)) << move;
    played.insert(move);
  }
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);

  // The log holds each go line followed by its bestmove line.
  std::FILE* log = std::fopen((dir + "/Tesmar.log").c_str(), "r");
  ASSERT_NE(log, nullptr);
  std::vector<std::string> logLines;
  char line[512];
  while (std::fgets(line, sizeof line, log)) logLines.push_back(trimRight(std::string(line, strcspn(line, "\n"))));
  std::fclose(log);
  ASSERT_EQ(logLines.size(), 20u);
  for (size_t i = 0; i < logLines.size(); i += 2) {
    EXPECT_EQ(logLines[i], "go wtime 60000 btime 60000");
    EXPECT_EQ(logLines[i + 1].rfind("bestmove ", 0), 0u);
  }
}

}  // namespace

// Polyglot book: published keys, lookup at the edges of a file, the weights rule, move conversion
// (castling, Black to move, promotions), the legality and root-move filters, and broken files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "book/book.h"
#include "support/engine_process.h"

namespace {

using board::Move;

// Sets up a FEN and plays the moves (coordinate text, blank-separated).
void setUp(board::Position& pos, const char* fen, const std::string& moves = "") {
  ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
  size_t at = 0;
  while (at < moves.size()) {
    size_t end = moves.find(' ', at);
    if (end == std::string::npos) end = moves.size();
    const std::string text = moves.substr(at, end - at);
    if (!text.empty()) board::makeMove(pos, board::textToMove(pos, text.c_str()));
    at = end + 1;
  }
}

std::string text(const board::Position& pos, Move move) {
  if (move == 0) return "none";
  char buffer[8];
  board::moveToText(move, board::blackToMove(board::currentState(pos)), buffer);
  return buffer;
}

// Polyglot move field of coordinate text (real squares; "e1h1" for castling king side).
uint16_t encodeMove(const std::string& move) {
  const int from = (move[0] - 'a') + 8 * (move[1] - '1');
  const int to = (move[2] - 'a') + 8 * (move[3] - '1');
  int promotion = 0;
  if (move.size() > 4) promotion = std::string("nbrq").find(move[4]) + 1;
  return uint16_t(to | from << 6 | promotion << 12);
}

struct Record {
  uint64_t key;
  std::string move;
  uint16_t weight;
};

std::string encode(const std::vector<Record>& records) {
  std::string bytes;
  for (const Record& r : records) {
    const uint16_t move = r.move.empty() ? 0 : encodeMove(r.move);
    for (int i = 7; i >= 0; --i) bytes.push_back(char(r.key >> (8 * i)));
    bytes.push_back(char(move >> 8));
    bytes.push_back(char(move));
    bytes.push_back(char(r.weight >> 8));
    bytes.push_back(char(r.weight));
    bytes.append(4, '\0');
  }
  return bytes;
}

std::string writeFile(const std::string& name, const std::string& bytes) {
  static const std::string dir = testsupport::makeTempDir();
  const std::string path = dir + "/" + name;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  EXPECT_NE(f, nullptr) << path;
  if (f) {
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
  }
  return path;
}

std::string bookDir() {
  const std::string data = testsupport::dataDir();
  return data.empty() ? "" : data + "/books";
}

class BookTest : public ::testing::Test {
 protected:
  void TearDown() override { book::closeBook(); }
  // Counts the moves chosen over seeds 0..probes-1.
  std::map<std::string, int> tally(board::Position& pos, bool best, int probes,
                                   const Move* root = nullptr, int rootCount = 0) {
    std::map<std::string, int> seen;
    for (int seed = 0; seed < probes; ++seed)
      ++seen[text(pos, book::bookProbeSeeded(pos, best, root, rootCount, uint64_t(seed)))];
    return seen;
  }
  board::Position pos;
};

constexpr uint64_t START_KEY = 0x463b96181691fc9cULL;

TEST(PolyglotKey, PublishedTestPositions) {
  struct Case {
    const char* fen;
    const char* moves;
    uint64_t key;
  };
  const Case cases[] = {
      {board::START_FEN, "", 0x463b96181691fc9cULL},
      {board::START_FEN, "e2e4", 0x823c9b50fd114196ULL},
      {board::START_FEN, "e2e4 d7d5", 0x0756b94461c50fb0ULL},
      {board::START_FEN, "e2e4 d7d5 e4e5", 0x662fafb965db29d4ULL},
      {board::START_FEN, "e2e4 d7d5 e4e5 f7f5", 0x22a48b5a8e47ff78ULL},
      {board::START_FEN, "e2e4 d7d5 e4e5 f7f5 e1e2", 0x652a607ca3f242c1ULL},
      {board::START_FEN, "e2e4 d7d5 e4e5 f7f5 e1e2 e8f7", 0x00fdd303c946bdd9ULL},
      {board::START_FEN, "a2a4 b7b5 h2h4 b5b4 c2c4", 0x3c8123ea7b067637ULL},
      {board::START_FEN, "a2a4 b7b5 h2h4 b5b4 c2c4 b4c3 a1a3", 0x5c3f9b829b279560ULL},
      // The same positions from FEN, whose en-passant field is kept even where no pawn can take:
      // the file enters the key only when a pawn of the side to move stands beside the pushed pawn.
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "", 0x823c9b50fd114196ULL},
      {"rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 2", "", 0x0756b94461c50fb0ULL},
      {"rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3", "", 0x22a48b5a8e47ff78ULL},
      {"rnbqkbnr/p1pppppp/8/8/PpP4P/8/1P1PPPP1/RNBQKBNR b KQkq c3 0 3", "", 0x3c8123ea7b067637ULL},
  };
  for (const Case& c : cases) {
    board::Position pos;
    setUp(pos, c.fen, c.moves);
    const board::BoardState before = board::currentState(pos);
    const int index = board::stackIndex(pos);
    EXPECT_EQ(book::polyglotKey(pos), c.key) << c.fen << " / " << c.moves;
    EXPECT_EQ(board::stackIndex(pos), index);
    EXPECT_EQ(0, std::memcmp(&before, &board::currentState(pos), sizeof before)) << "position changed";
  }
}

TEST_F(BookTest, LookupFindsTheRunAnywhereInTheFile) {
  // Keys around the start position's; filler records never match it.
  const std::vector<Record> below = {{1, "a2a3", 1}, {START_KEY - 1, "b2b3", 1}};
  const std::vector<Record> run = {{START_KEY, "e2e4", 7}};
  const std::vector<Record> above = {{START_KEY + 1, "c2c3", 1}, {~0ULL - 1, "d2d3", 1}};
  const std::vector<Record> tail = {{~0ULL, "h2h3", 1}};
  const auto join = [](std::vector<std::vector<Record>> parts) {
    std::vector<Record> all;
    for (auto& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
  };
  struct Case {
    const char* name;
    std::vector<Record> records;
    const char* expected;
  };
  const Case cases[] = {
      {"only", run, "e2e4"},
      {"first", join({run, above}), "e2e4"},
      {"last", join({below, run}), "e2e4"},
      {"middle", join({below, run, above}), "e2e4"},
      {"middle-odd", join({below, run, above, tail}), "e2e4"},
      {"absent-between", join({below, above}), "none"},
      {"all-below", below, "none"},
      {"all-above", above, "none"},
  };
  setUp(pos, board::START_FEN);
  for (const Case& c : cases) {
    ASSERT_TRUE(book::openBook(writeFile(std::string(c.name) + ".bin", encode(c.records)).c_str()));
    EXPECT_EQ(text(pos, book::bookProbe(pos, true, nullptr, 0)), c.expected) << c.name;
  }
}

TEST_F(BookTest, WeightsRule) {
  setUp(pos, board::START_FEN);
  ASSERT_TRUE(book::openBook(
      writeFile("weights.bin", encode({{START_KEY, "e2e4", 50}, {START_KEY, "d2d4", 50},
                                       {START_KEY, "c2c4", 20}, {START_KEY + 1, "a2a3", 90}}))
          .c_str()));
  const int probes = 3000;
  auto best = tally(pos, true, probes);
  EXPECT_EQ(best.size(), 2u);
  for (const char* move : {"e2e4", "d2d4"}) {
    EXPECT_GT(best[move], probes * 4 / 10) << move;
    EXPECT_LT(best[move], probes * 6 / 10) << move;
  }
  auto any = tally(pos, false, probes);
  EXPECT_EQ(any.size(), 3u);
  for (const char* move : {"e2e4", "d2d4", "c2c4"}) {
    EXPECT_GT(any[move], probes * 27 / 100) << move;
    EXPECT_LT(any[move], probes * 40 / 100) << move;
  }
  // Seeded from the clock: both best moves come up, the third never.
  std::set<std::string> clocked;
  for (int i = 0; i < 400; ++i) clocked.insert(text(pos, book::bookProbe(pos, true, nullptr, 0)));
  EXPECT_EQ(clocked, (std::set<std::string>{"d2d4", "e2e4"}));
}

TEST_F(BookTest, OnlyTheFirstSixteenRecordsOfARunAreChosenUniformly) {
  setUp(pos, board::START_FEN);
  Move legal[board::MAX_MOVES];
  const int count = int(board::generateLegalMoves(pos, legal) - legal);
  ASSERT_EQ(count, 20);
  std::vector<Record> records;
  for (int i = 0; i < count; ++i) records.push_back({START_KEY, text(pos, legal[i]), uint16_t(100 - i)});
  ASSERT_TRUE(book::openBook(writeFile("twenty.bin", encode(records)).c_str()));
  const int probes = 16000;
  auto seen = tally(pos, false, probes);
  EXPECT_EQ(seen.size(), 16u);
  for (int i = 0; i < count; ++i) {
    const int n = seen[records[i].move];
    if (i < 16) {
      EXPECT_GT(n, probes / 16 * 7 / 10) << records[i].move;
      EXPECT_LT(n, probes / 16 * 13 / 10) << records[i].move;
    } else {
      EXPECT_EQ(n, 0) << records[i].move;
    }
  }
  // All weights differ: the best choice is the first record alone.
  EXPECT_EQ(tally(pos, true, 200), (std::map<std::string, int>{{records[0].move, 200}}));
}

TEST_F(BookTest, MoveConversion) {
  struct Case {
    const char* fen;
    const char* record;
    const char* expected;
  };
  const Case cases[] = {
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1h1", "e1g1"},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1a1", "e1c1"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8h8", "e8g8"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8a8", "e8c8"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQq - 0 1", "e8h8", "none"},  // right lost: king takes own rook
      {"r3k2r/8/8/8/8/8/8/R3K2R w Qkq - 0 1", "e1h1", "none"},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1g1", "e1g1"},  // the usual notation serves too
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "a1a8", "a1a8"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "h8h1", "h8h1"},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "e7e5", "e7e5"},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "g8f6", "g8f6"},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "e2e4", "none"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q", "a7a8q"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8n", "a7a8n"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8", "none"},  // promotion without a piece
      {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1r", "a2a1r"},
      {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1b", "a2a1b"},
      {"rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3", "e5f6", "e5f6"},
      {board::START_FEN, "e2e5", "none"},  // not a legal move
      {board::START_FEN, "", "none"},      // empty move field
  };
  for (const Case& c : cases) {
    setUp(pos, c.fen);
    const uint64_t key = book::polyglotKey(pos);
    ASSERT_TRUE(book::openBook(writeFile("one.bin", encode({{key, c.record, 1}})).c_str()));
    const Move move = book::bookProbe(pos, true, nullptr, 0);
    EXPECT_EQ(text(pos, move), c.expected) << c.fen << " " << c.record;
    if (move != 0) {
      // The word is the legal move itself, flags and piece included.
      Move legal[board::MAX_MOVES];
      Move* end = board::generateLegalMoves(pos, legal);
      EXPECT_NE(std::find(legal, end, move), end);
    }
  }
  // A foreign promotion code (5..7) is no move.
  setUp(pos, "4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(book::bookMoveToMove(uint16_t(encodeMove("a7a8") | 5 << 12), board::currentState(pos)), 0u);
  EXPECT_EQ(book::bookMoveToMove(0, board::currentState(pos)), 0u);
}

TEST_F(BookTest, RootMovesRestrictTheChoice) {
  setUp(pos, board::START_FEN);
  ASSERT_TRUE(book::openBook(
      writeFile("restrict.bin", encode({{START_KEY, "e2e4", 50}, {START_KEY, "d2d4", 50},
                                        {START_KEY, "c2c4", 20}, {START_KEY, "e2e5", 20}}))
          .c_str()));
  const Move d2d4 = board::textToMove(pos, "d2d4");
  const Move c2c4 = board::textToMove(pos, "c2c4");
  const Move g1f3 = board::textToMove(pos, "g1f3");
  EXPECT_EQ(tally(pos, true, 200, &d2d4, 1), (std::map<std::string, int>{{"d2d4", 200}}));
  // The only allowed book move lacks the best weight: with the best-move rule there is none.
  EXPECT_EQ(tally(pos, true, 50, &c2c4, 1), (std::map<std::string, int>{{"none", 50}}));
  EXPECT_EQ(tally(pos, false, 50, &c2c4, 1), (std::map<std::string, int>{{"c2c4", 50}}));
  EXPECT_EQ(tally(pos, false, 50, &g1f3, 1), (std::map<std::string, int>{{"none", 50}}));
  EXPECT_EQ(tally(pos, false, 50, &g1f3, 0), (std::map<std::string, int>{{"none", 50}}));
  // The illegal record e2e5 is never played.
  EXPECT_EQ(tally(pos, false, 600).count("e2e5"), 0u);
}

TEST_F(BookTest, BrokenFilesNeverGiveAnIllegalMove) {
  setUp(pos, board::START_FEN);
  const std::string good = encode({{1, "a2a3", 1}, {START_KEY, "e2e4", 1}, {START_KEY + 5, "d2d4", 1}});
  std::string garbage;
  for (int i = 0; i < 16 * 64 + 9; ++i) garbage.push_back(char((i * 2654435761u) >> 13));
  struct Case {
    const char* name;
    std::string bytes;
    std::set<std::string> allowed;
  };
  const Case cases[] = {
      {"empty", "", {"none"}},
      {"short", good.substr(0, 15), {"none"}},
      {"truncated", good.substr(0, 16 + 15), {"none"}},  // the start record is cut off
      {"tail", good + "abc", {"e2e4"}},                   // a remainder is ignored
      {"unsorted", encode({{~0ULL, "a2a3", 1}, {START_KEY, "e2e4", 1}, {0, "d2d4", 1}}), {"none", "e2e4"}},
      {"garbage", garbage, {"none"}},
      {"zero-move", encode({{START_KEY, "", 9}, {START_KEY, "e2e4", 9}}), {"e2e4"}},
  };
  for (const Case& c : cases) {
    ASSERT_TRUE(book::openBook(writeFile(std::string(c.name) + ".bin", c.bytes).c_str())) << c.name;
    for (bool best : {true, false})
      for (const auto& [move, n] : tally(pos, best, 64)) EXPECT_TRUE(c.allowed.count(move)) << c.name << " " << move;
  }
  // Garbage must not give illegal moves from other positions either.
  ASSERT_TRUE(book::openBook(writeFile("garbage.bin", garbage).c_str()));
  for (const char* fen : {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "4k3/P7/8/8/8/8/8/4K3 w - - 0 1"}) {
    setUp(pos, fen);
    EXPECT_EQ(book::bookProbe(pos, false, nullptr, 0), 0u);
  }
}

TEST_F(BookTest, OpeningAndClosing) {
  setUp(pos, board::START_FEN);
  const std::string bytes = encode({{START_KEY, "e2e4", 1}});
  const std::string blank = writeFile("my book.bin", bytes);
  EXPECT_TRUE(book::openBook(blank.c_str()));
  EXPECT_TRUE(book::bookIsOpen());
  EXPECT_EQ(text(pos, book::bookProbe(pos, true, nullptr, 0)), "e2e4");
  book::closeBook();
  EXPECT_FALSE(book::bookIsOpen());
  EXPECT_EQ(book::bookProbe(pos, true, nullptr, 0), 0u);
  // A failed open leaves no book open, the previous one closed.
  EXPECT_TRUE(book::openBook(blank.c_str()));
  const std::string dir = blank.substr(0, blank.rfind('/'));
  for (const std::string& path : {dir + "/missing.bin", dir, std::string("")}) {
    EXPECT_FALSE(book::openBook(path.c_str())) << path;
    EXPECT_FALSE(book::bookIsOpen()) << path;
    EXPECT_EQ(book::bookProbe(pos, true, nullptr, 0), 0u);
  }
  EXPECT_FALSE(book::openBook(nullptr));
  book::closeBook();  // closing twice is harmless
}

// Reads every record of a book file in the test's own way.
std::vector<book::BookEntry> readAll(const std::string& path) {
  std::vector<book::BookEntry> entries;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return entries;
  unsigned char b[16];
  while (std::fread(b, 1, 16, f) == 16) {
    book::BookEntry e{};
    for (int i = 0; i < 8; ++i) e.key = e.key << 8 | b[i];
    e.move = uint16_t(b[8] << 8 | b[9]);
    e.weight = uint16_t(b[10] << 8 | b[11]);
    entries.push_back(e);
  }
  std::fclose(f);
  return entries;
}

// Walks the book from the start position as a Polyglot book tool does: every legal move from a
// book position, and again from a position one ply beyond one (a book may store one side's moves
// only). Every key of the file must be reached, every record's move must be legal where its key is
// found, and probes answer only with moves of the run.
TEST_F(BookTest, RealBooksAreWalkedFromTheStartPosition) {
  if (bookDir().empty()) GTEST_SKIP() << "test data directory absent";
  for (const char* name : {"lines.bin", "games.bin", "tiny.bin"}) {
    const std::string path = bookDir() + "/" + name;
    const auto entries = readAll(path);
    ASSERT_FALSE(entries.empty()) << path;
    std::multimap<uint64_t, book::BookEntry> byKey;
    for (const auto& e : entries) byKey.emplace(e.key, e);
    ASSERT_TRUE(book::openBook(path.c_str()));

    std::set<uint64_t> visited;
    std::set<uint64_t> reached;
    int probes = 0;
    setUp(pos, board::START_FEN);
    // Children of the current position; parentInBook says whether the position before it was.
    auto expand = [&](bool parentInBook) {
      std::vector<Move> children;
      const uint64_t key = book::polyglotKey(pos);
      auto [first, last] = byKey.equal_range(key);
      if (first == last && !parentInBook) return children;
      if (!visited.insert(key).second || board::stackIndex(pos) >= 200) return children;
      Move legal[board::MAX_MOVES];
      Move* end = board::generateLegalMoves(pos, legal);
      if (first == last) {
        children.assign(legal, end);
        return children;
      }
      reached.insert(key);
      std::set<std::string> runMoves;
      for (auto it = first; it != last; ++it) {
        const Move bare = book::bookMoveToMove(it->second.move, board::currentState(pos));
        const Move* match = std::find_if(legal, end, [&](Move m) {
          return board::moveFrom(m) == board::moveFrom(bare) && board::moveTo(m) == board::moveTo(bare) &&
                 board::movePromotion(m) == board::movePromotion(bare);
        });
        EXPECT_NE(match, end) << name << " illegal record at key " << std::hex << key;
        if (match != end) runMoves.insert(text(pos, *match));
      }
      children.assign(legal, end);
      for (bool best : {true, false}) {
        ++probes;
        EXPECT_TRUE(runMoves.count(text(pos, book::bookProbe(pos, best, nullptr, 0)))) << name;
      }
      return children;
    };
    struct Frame {
      std::vector<Move> children;
      bool inBook;
    };
    std::vector<Frame> pending;
    pending.push_back({expand(true), byKey.count(book::polyglotKey(pos)) > 0});
    while (!pending.empty()) {
      if (pending.back().children.empty()) {
        pending.pop_back();
        if (!pending.empty()) board::unmakeMove(pos);
        continue;
      }
      const bool parentInBook = pending.back().inBook;
      const Move move = pending.back().children.back();
      pending.back().children.pop_back();
      board::makeMove(pos, move);
      const bool inBook = byKey.count(book::polyglotKey(pos)) > 0;
      pending.push_back({expand(parentInBook), inBook});
    }
    std::set<uint64_t> fileKeys;
    for (const auto& e : entries) fileKeys.insert(e.key);
    int missing = 0;
    for (uint64_t k : fileKeys) missing += !reached.count(k);
    EXPECT_EQ(missing, 0) << name << ": keys in the file not reached from the start position";
    EXPECT_GT(probes, 0);
  }
}

}  // namespace

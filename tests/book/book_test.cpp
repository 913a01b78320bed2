// Polyglot book: published keys, the lookup and the choice rules on built files (edges, weights,
// the first sixteen records, root moves, broken files), move conversion (castling, Black to move,
// promotions), real books walked from the start position, and the book through the engine's pipes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "board/board_test_util.h"
#include "book/book.h"
#include "support/engine_process.h"

namespace {

using board::Move;

constexpr uint64_t START_KEY = 0x463b96181691fc9cULL;

// Sets up a FEN and plays the moves (coordinate text, blank-separated).
void setUp(board::Position& pos, const char* fen, const std::string& moves = "") {
  ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
  boardtest::playMoves(pos, moves);
}

std::string text(const board::Position& pos, Move move) { return move ? boardtest::moveText(pos, move) : "none"; }

// Polyglot move field of coordinate text (real squares; "e1h1" for castling king side).
uint16_t encodeMove(const std::string& move) {
  const int from = (move[0] - 'a') + 8 * (move[1] - '1'), to = (move[2] - 'a') + 8 * (move[3] - '1');
  const int promotion = move.size() > 4 ? int(std::string("nbrq").find(move[4])) + 1 : 0;
  return uint16_t(to | from << 6 | promotion << 12);
}

struct Record {
  uint64_t key;
  std::string move;  // "" for the empty move field
  uint16_t weight;
};

std::string encode(const std::vector<Record>& records) {
  std::string bytes;
  for (const Record& r : records) {
    const uint64_t words[2] = {r.key, uint64_t(r.move.empty() ? 0 : encodeMove(r.move)) << 48 | uint64_t(r.weight) << 32};
    for (const uint64_t word : words)
      for (int i = 7; i >= 0; --i) bytes.push_back(char(word >> (8 * i)));
  }
  return bytes;
}

std::string writeFile(const std::string& name, const std::string& bytes) {
  static const std::string dir = testsupport::makeTempDir();
  std::ofstream(dir + "/" + name, std::ios::binary) << bytes;
  return dir + "/" + name;
}

class BookTest : public ::testing::Test {
 protected:
  void TearDown() override { book::closeBook(); }
  board::Position pos;
};

TEST(PolyglotKey, PublishedTestPositions) {
  struct Case { const char* fen; const char* moves; uint64_t key; };
  const Case cases[] = {
      {board::START_FEN, "", 0x463b96181691fc9cULL},
      {board::START_FEN, "e2e4", 0x823c9b50fd114196ULL},
      {board::START_FEN, "e2e4 d7d5", 0x0756b94461c50fb0ULL},
      {board::START_FEN, "e2e4 d7d5 e4e5 f7f5", 0x22a48b5a8e47ff78ULL},
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

// Each case's choices over 1,000 seeds per expected move: exactly the expected moves ("none": no
// book move), each about equally often.
TEST_F(BookTest, LookupAndChoiceOnBuiltFiles) {
  setUp(pos, board::START_FEN);
  Move legal[board::MAX_MOVES];
  const int count = int(board::generateLegalMoves(pos, legal) - legal);
  ASSERT_EQ(count, 20);
  std::vector<Record> twenty;  // all weights differ
  std::vector<std::string> firstSixteen;
  for (int i = 0; i < count; ++i) twenty.push_back({START_KEY, text(pos, legal[i]), uint16_t(100 - i)});
  for (int i = 0; i < 16; ++i) firstSixteen.push_back(twenty[size_t(i)].move);
  // Keys around the start position's; filler records never match it.
  const std::vector<Record> below = {{1, "a2a3", 1}, {START_KEY - 1, "b2b3", 1}}, run = {{START_KEY, "e2e4", 7}},
                            above = {{START_KEY + 1, "c2c3", 1}, {~0ULL - 1, "d2d3", 1}}, tail = {{~0ULL, "h2h3", 1}};
  const auto join = [](std::vector<std::vector<Record>> parts) {
    std::string all;
    for (auto& p : parts) all += encode(p);
    return all;
  };
  // Weights above 255: the best is the first record's in full (its high byte alone ties d2d4, its low byte c2c4).
  const std::string weights = encode({{START_KEY, "e2e4", 0x201}, {START_KEY, "d2d4", 0x200},
                                      {START_KEY, "c2c4", 0x101}, {START_KEY + 1, "a2a3", 0x300}});
  const std::string illegal = encode({{START_KEY, "e2e4", 0x110}, {START_KEY, "d2d4", 0x110},
                                      {START_KEY, "c2c4", 0x105}, {START_KEY, "e2e5", 20}});
  const std::string good = join({below, run, above});
  std::string garbage;
  for (int i = 0; i < 16 * 64 + 9; ++i) garbage.push_back(char((i * 2654435761u) >> 13));
  const std::vector<Move> d2d4 = {board::textToMove(pos, "d2d4")}, c2c4 = {board::textToMove(pos, "c2c4")},
                          g1f3 = {board::textToMove(pos, "g1f3")}, none;
  constexpr int ANY = 0, BEST = 1, BOTH = 2;  // the alwaysBestBookMove settings tried
  struct Case {
    std::string bytes;
    int best;
    const std::vector<Move>* root;  // null: every legal move allowed
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {encode(run), BOTH, nullptr, {"e2e4"}},  // the run anywhere in the file
      {good, BOTH, nullptr, {"e2e4"}},
      {join({below, run, above, tail}), BOTH, nullptr, {"e2e4"}},
      {join({below, above}), BOTH, nullptr, {"none"}},
      {weights, BEST, nullptr, {"e2e4"}},
      {weights, ANY, nullptr, {"e2e4", "d2d4", "c2c4"}},
      {encode(twenty), ANY, nullptr, firstSixteen},
      {encode(twenty), BEST, nullptr, {twenty[0].move}},
      {illegal, ANY, nullptr, {"e2e4", "d2d4", "c2c4"}},  // the illegal record is never played
      {illegal, BEST, &d2d4, {"d2d4"}},
      {illegal, BEST, &c2c4, {"none"}},  // the only allowed move lacks the best weight
      {illegal, ANY, &c2c4, {"c2c4"}},
      {illegal, ANY, &g1f3, {"none"}},
      {illegal, ANY, &none, {"none"}},
      // Broken files.
      {"", BOTH, nullptr, {"none"}},
      {good.substr(0, 3 * 16 - 1), BOTH, nullptr, {"none"}},  // the start record is cut off
      {good + "abc", BOTH, nullptr, {"e2e4"}},                // a remainder is ignored
      {encode({{~0ULL, "a2a3", 1}, {START_KEY, "e2e4", 1}, {0, "d2d4", 1}}), BOTH, nullptr, {"none"}},  // unsorted
      {garbage, BOTH, nullptr, {"none"}},
      {encode({{START_KEY, "", 9}, {START_KEY, "e2e4", 9}}), BOTH, nullptr, {"e2e4"}},
  };
  int index = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE("case " + std::to_string(index++));
    ASSERT_TRUE(book::openBook(writeFile("choice.bin", c.bytes).c_str()));
    for (const bool best : {false, true}) {
      if (c.best != BOTH && c.best != int(best)) continue;
      const int probes = 1000 * int(c.expected.size());
      std::map<std::string, int> seen;
      for (int seed = 0; seed < probes; ++seed)
        ++seen[text(pos, book::bookProbeSeeded(pos, best, c.root ? (c.root->empty() ? legal : c.root->data()) : nullptr,
                                               c.root ? int(c.root->size()) : 0, uint64_t(seed)))];
      EXPECT_EQ(seen.size(), c.expected.size()) << seen.begin()->first;
      const int share = probes / int(c.expected.size());
      for (const std::string& move : c.expected)
        EXPECT_TRUE(seen[move] > share * 8 / 10 && seen[move] < share * 12 / 10) << move << ": " << seen[move];
    }
  }
  // Seeded from the clock: each move of the run comes up.
  ASSERT_TRUE(book::openBook(writeFile("weights.bin", weights).c_str()));
  std::set<std::string> clocked;
  for (int i = 0; i < 400; ++i) clocked.insert(text(pos, book::bookProbe(pos, false, nullptr, 0)));
  EXPECT_EQ(clocked, (std::set<std::string>{"c2c4", "d2d4", "e2e4"}));
  // A failed open leaves no book open, the previous one closed.
  const std::string empty = writeFile("empty.bin", "");
  for (const std::string& path : {empty + ".missing", empty.substr(0, empty.rfind('/')), std::string("")}) {
    ASSERT_TRUE(book::openBook(empty.c_str()));
    EXPECT_FALSE(book::openBook(path.c_str())) << path;
    EXPECT_FALSE(book::bookIsOpen()) << path;
    EXPECT_EQ(book::bookProbe(pos, true, nullptr, 0), 0u);
  }
}

TEST_F(BookTest, MoveConversion) {
  struct Case { const char* fen; const char* record; const char* expected; };
  const Case cases[] = {
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1h1", "e1g1"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8h8", "e8g8"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8a8", "e8c8"},
      {"r3k2r/8/8/8/8/8/8/R3K2R b KQq - 0 1", "e8h8", "none"},  // right lost: king takes own rook
      {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1g1", "e1g1"},  // the usual notation serves too
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "e7e5", "e7e5"},
      {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", "e2e4", "none"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q", "a7a8q"},
      {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8", "none"},  // promotion without a piece
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
    Move legal[board::MAX_MOVES];  // the word is the legal move itself, flags and piece included
    Move* const end = board::generateLegalMoves(pos, legal);
    EXPECT_TRUE(move == 0 || std::find(legal, end, move) != end);
  }
  // A foreign promotion code (5..7) is no move.
  setUp(pos, "4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(book::bookMoveToMove(uint16_t(encodeMove("a7a8") | 5 << 12), board::currentState(pos)), 0u);
  EXPECT_EQ(book::bookMoveToMove(0, board::currentState(pos)), 0u);
}

// Walks a real book from the start position as a Polyglot book tool does: every legal move from a
// book position, and every reply to those that leave the book (a book may store one side's moves
// only). Every record's move is legal where its key is found, probes answer with moves of the run,
// and every key of the file is reached.
struct BookWalk {
  std::multimap<uint64_t, uint16_t> records;  // key -> move
  std::set<uint64_t> reached;

  void visit(board::Position& pos, const char* name) {
    const uint64_t key = book::polyglotKey(pos);
    if (!reached.insert(key).second) return;
    Move legal[board::MAX_MOVES];
    Move* const end = board::generateLegalMoves(pos, legal);
    std::set<std::string> runMoves;
    if (!records.count(key)) runMoves.insert("none");  // the start position of a book without it
    for (auto [it, last] = records.equal_range(key); it != last; ++it) {
      const Move bare = book::bookMoveToMove(it->second, board::currentState(pos));
      const Move* match = std::find_if(legal, end, [&](Move m) {
        return board::moveFrom(m) == board::moveFrom(bare) && board::moveTo(m) == board::moveTo(bare) &&
               board::movePromotion(m) == board::movePromotion(bare);
      });
      EXPECT_NE(match, end) << name << " illegal record at key " << std::hex << key;
      if (match != end) runMoves.insert(text(pos, *match));
    }
    for (bool best : {true, false})
      EXPECT_TRUE(runMoves.count(text(pos, book::bookProbe(pos, best, nullptr, 0)))) << name;
    for (Move* m = legal; m != end; ++m) {
      board::makeMove(pos, *m);
      if (records.count(book::polyglotKey(pos))) {
        visit(pos, name);
      } else {
        Move replies[board::MAX_MOVES];
        for (Move* r = replies, *e = board::generateLegalMoves(pos, replies); r != e; ++r) {
          board::makeMove(pos, *r);
          if (records.count(book::polyglotKey(pos))) visit(pos, name);
          board::unmakeMove(pos);
        }
      }
      board::unmakeMove(pos);
    }
  }
};

TEST_F(BookTest, RealBooksAreWalkedFromTheStartPosition) {
  const std::string data = testsupport::dataDir();
  if (data.empty()) GTEST_SKIP() << "test data directory absent";
  for (const char* name : {"lines.bin", "games.bin", "tiny.bin"}) {
    const std::string path = data + "/books/" + name;
    BookWalk walk;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr) << path;
    for (unsigned char b[16]; std::fread(b, 1, 16, f) == 16;) {  // read in the test's own way
      uint64_t key = 0;
      for (int i = 0; i < 8; ++i) key = key << 8 | b[i];
      walk.records.emplace(key, uint16_t(b[8] << 8 | b[9]));
    }
    std::fclose(f);
    ASSERT_TRUE(book::openBook(path.c_str()));
    setUp(pos, board::START_FEN);
    walk.visit(pos, name);
    int missing = 0;
    for (const auto& [key, move] : walk.records) missing += !walk.reached.count(key);
    EXPECT_EQ(missing, 0) << name << ": records whose key is not reached from the start position";
  }
}

// Through the pipes: "go" on a book position prints "bestmove" at once with no "info" line; a book move
// outside "searchmoves", "go ponder", "go infinite" and UCI_AnalyseMode search instead; the log gets each
// "go" and its answer.
TEST(E2EBook, AnswersAtOnceOnlyForGoAndLogsTheAnswer) {
  const std::string book = writeFile("my book.bin", encode({{START_KEY, "e2e4", 10}}));
  const std::string dir = testsupport::makeTempDir();
  std::string expectedLog;
  testsupport::EngineProcess engine(dir);
  for (const std::string& line : {std::string("Hash value 1"), std::string("Log value true"), std::string("OwnBook value true"), "BookFile value " + book})
    engine.send("setoption name " + line);
  engine.send("ucinewgame");
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok"));  // after the tablebase count
  const std::pair<const char*, const char*> cases[] = {  // "go" line, the answer's first line
      {"go wtime 60000 btime 60000", "bestmove e2e4 "}, {"go depth 3 searchmoves g1f3", "info depth  1 "},
      {"go ponder wtime 60000 btime 60000", "info depth  1 "}, {"go infinite", "info depth  1 "},
      {"go depth 2", "info depth  1 "}};  // with UCI_AnalyseMode
  for (const auto& [go, first] : cases) {
    if (std::strcmp(go, "go depth 2") == 0) engine.send("setoption name UCI_AnalyseMode value true");
    engine.send(go);
    const bool stop = std::strstr(go, "ponder") || std::strstr(go, "infinite");  // no "bestmove" before "stop"
    std::vector<std::string> lines;
    if (stop) {
      ASSERT_TRUE(engine.waitFor("info depth", 20000, &lines)) << go;
      engine.send("stop");
    }
    ASSERT_TRUE(engine.waitFor("bestmove", 20000, &lines)) << go;
    EXPECT_EQ(lines.size() == 1, first[0] == 'b') << go;  // the book's answer: this line alone
    EXPECT_EQ(lines.size() == 1 ? lines[0] : lines[0].substr(0, std::strlen(first)), first) << go;
    expectedLog += std::string(go) + "\n";
    for (const std::string& line : lines) expectedLog += line + "\n";
  }
  EXPECT_NE(expectedLog.find("bestmove g1f3"), std::string::npos);
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
  std::ifstream log(dir + "/Tesmar.log", std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(log), {}), expectedLog);
}

}  // namespace

// The "position" and "go" parsing, checked on the state it leaves, for good and malformed lines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "search/limits.h"
#include "uci/position_go.h"

namespace {

using board::BoardState;
using board::Position;

bool sameRecord(const BoardState& a, const BoardState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// A clean reference: the FEN set up and the moves played one by one without any collapsing.
void playClean(Position& pos, const char* fen, const std::vector<std::string>& moves) {
  ASSERT_TRUE(board::setupFromFen(pos, fen)) << fen;
  for (const std::string& text : moves) {
    const board::Move move = uci::legalMoveFromText(pos, text.c_str(), int(text.size()));
    ASSERT_NE(move, 0u) << text;
    board::makeMove(pos, move);
  }
}

// Each line is given to a position set up by "position startpos moves g1f3 g8f6" (movesPlayed 7). It
// leaves the records of a clean game of the FEN and moves (the last stackIndex + 1 of them) and the
// moves played, halved; a line without effect (fen null) returns false and changes nothing.
TEST(PositionCommand, SetsUpThePositionAndHistory) {
  struct Case {
    const char* line;
    const char* fen;                  // reference set-up
    std::vector<std::string> moves;   // moves the reference plays
    int stackIndex;                   // records kept above states[0]
    int movesPlayed;
  };
  const char* epFen = "rnbqkbnr/ppp1pppp/8/3p4/8/8/PPPPPPPP/RNBQKBNR w KQkq d6 0 2";
  const Case cases[] = {
      {"position startpos\n", board::START_FEN, {}, 0, 0},
      {"position startpos moves e2e4 e7e5 g1f3\n", board::START_FEN, {"e2e4", "e7e5", "g1f3"}, 1, 1},
      {"position startpos moves g1f3 g8f6 f3g1\n", board::START_FEN, {"g1f3", "g8f6", "f3g1"}, 3, 1},
      {"position fen 8/8/8/8/8/8/8/K6k b - - 12 40\n", "8/8/8/8/8/8/8/K6k b - - 12 40", {}, 0, 0},
      {"position fen 8/8/8/8/8/8/8/K6k b - - 12 40 moves h1g2 a1b1\n", "8/8/8/8/8/8/8/K6k b - - 12 40",
       {"h1g2", "a1b1"}, 2, 1},
      {"position fen rnbqkbnr/ppp1pppp/8/3p4/8/8/PPPPPPPP/RNBQKBNR w KQkq d6 0 2\n", epFen, {}, 0, 0},
      // Castling, en passant, promotion with capture, and a check.
      {"position fen r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1 moves e5d6 e8g8 b7a8q\n",
       "r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1", {"e5d6", "e8g8", "b7a8q"}, 0, 1},
      {"position fen 4k3/8/8/8/8/8/8/R3K2R w KQ - 3 1 moves e1g1 e8d7 f1f7\n",
       "4k3/8/8/8/8/8/8/R3K2R w KQ - 3 1", {"e1g1", "e8d7", "f1f7"}, 3, 1},
      // Extra blanks and a Windows line end.
      {"position  startpos  moves  e2e4   d7d5\r\n", board::START_FEN, {"e2e4", "d7d5"}, 0, 1},
      {"position fen 4k3/8/8/8/8/8/8/4K2R w K - 0 1 moves e1g1 E8D8\n", "4k3/8/8/8/8/8/8/4K2R w K - 0 1",
       {"e1g1"}, 1, 0},
      {"position startpos moves a7a5\n", board::START_FEN, {}, 0, 0},  // Black's move: ends the list
      {"position startpos moves e2e4 e2e4 d2d4\n", board::START_FEN, {"e2e4"}, 0, 0},
      {"position startpos moves e2e4 e7e5 e1g1\n", board::START_FEN, {"e2e4", "e7e5"}, 0, 1},
      {"position startpos moves g1f3 g8f6 e2e4444 d2d4\n", board::START_FEN, {"g1f3", "g8f6"}, 2, 1},
      {"position fen 8/1P6/8/8/8/8/8/K6k w - - 0 1 moves b7b8\n", "8/1P6/8/8/8/8/8/K6k w - - 0 1", {}, 0, 0},
      {"position fen 8/1P6/8/8/8/8/8/K6k w - - 0 1 moves b7b8n\n", "8/1P6/8/8/8/8/8/K6k w - - 0 1",
       {"b7b8n"}, 0, 0},
      {"position fen 8/1P6/8/8/8/8/8/K6k w - - 0 1 moves b7b8k\n", "8/1P6/8/8/8/8/8/K6k w - - 0 1", {}, 0, 0},
      {"position fen 8/1P6/8/8/8/8/8/K6k w - - 0 1 moves b7b8Q\n", "8/1P6/8/8/8/8/8/K6k w - - 0 1",
       {"b7b8q"}, 0, 0},
      // No effect: nothing after "position" or "fen", or a FEN the board rejects (more in the FEN tests).
      {"position\n", nullptr, {}, 0, 0},
      {"position fen\n", nullptr, {}, 0, 0},
      {"position fen xyz\n", nullptr, {}, 0, 0},
      {"position fen 8/8/8/8/8/8/8/K5Qk w - - 0 1\n", nullptr, {}, 0, 0},                   // side not to move in check
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    Position pos, reference;
    int32_t movesPlayed = 7;
    ASSERT_TRUE(uci::setupPositionLine(pos, "position startpos moves g1f3 g8f6\n", movesPlayed));
    movesPlayed = 7;
    EXPECT_EQ(uci::setupPositionLine(pos, c.line, movesPlayed), c.fen != nullptr);
    playClean(reference, c.fen ? c.fen : board::START_FEN, c.fen ? c.moves : std::vector<std::string>{"g1f3", "g8f6"});
    EXPECT_EQ(movesPlayed, c.fen ? c.movesPlayed : 7);
    const int index = c.fen ? c.stackIndex : 2;
    ASSERT_EQ(board::stackIndex(pos), index);
    for (int i = 0; i <= index; ++i)
      EXPECT_TRUE(sameRecord(pos.states[size_t(i)], reference.current[i - index])) << "record " << i;
  }
}

TEST(PositionCommand, LongReversibleLineKeepsTheNewestHundredRecords) {
  // 600 plies of knights going out and back: 150 returns to the start position.
  std::string line = "position startpos moves";
  for (int i = 0; i < 150; ++i) line += " g1f3 b8c6 f3g1 c6b8";
  ASSERT_LT(line.size(), 4095u);

  Position pos;
  int32_t played = 0, moveNumber = 0;
  ASSERT_TRUE(uci::setupPositionLine(pos, line.c_str(), played, &moveNumber));
  EXPECT_EQ(played, 300);
  EXPECT_EQ(moveNumber, 301);
  ASSERT_EQ(board::stackIndex(pos), uci::HISTORY_LIMIT - 1);
  // Pieces, rights and keys are those of the start position, seen as a repetition; every kept record
  // matches the clean position of the same ply.
  Position cycle;  // states[0] is the start position
  playClean(cycle, board::START_FEN, {"g1f3", "b8c6", "f3g1", "c6b8"});
  const BoardState& root = board::currentState(pos);
  EXPECT_EQ(std::memcmp(root.bb, cycle.states[0].bb, sizeof root.bb), 0);
  EXPECT_EQ(root.castling, cycle.states[0].castling);
  EXPECT_NE(root.flags & board::FLAG_REPETITION, 0);
  for (int i = 0; i < uci::HISTORY_LIMIT; ++i) {
    const int ply = 600 - (uci::HISTORY_LIMIT - 1 - i);  // ply of states[i]
    EXPECT_EQ(pos.states[size_t(i)].key, cycle.states[size_t(ply % 4)].key) << i;
  }
  board::Move list[board::MAX_MOVES];
  EXPECT_EQ(board::generateLegalMoves(pos, list) - list, 20);
  ASSERT_TRUE(uci::setupPositionLine(pos, "position fen 8/8/8/8/8/8/8/K6k b - - 12 40 moves h1g2 a1b1", played, &moveNumber));
  EXPECT_EQ(moveNumber, 41);  // Black moved first: White's 41st move is next
}

// The limits for the side to move and the root moves ("searchmoves", else every legal move, with
// their check marks); the fields of an earlier search are reset.
TEST(GoCommand, ParsesLimitsAndRootMoves) {
  struct Case {
    const char* fen;
    const char* line;
    int timeMs, incrementMs, movesToGo, depthLimit, pondering;
    bool clockGiven;
    const char* rootMoves = "";  // "": every legal move
    int legalCount = 20;
    uint64_t nodeLimit = 0;
    int mateLimit = 0;
  };
  const char* black = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1";
  const char* white = board::START_FEN;
  const char* checks = "4k3/8/8/8/8/8/8/R3K3 w Q - 0 1";
  const Case cases[] = {
      {black, "go wtime 60000 btime 30000 winc 1000 binc 500\n", 30000, 500, 0, 64, 0, true},
      {white, "go wtime 60000 btime 30000 winc 1000 binc 500\n", 60000, 1000, 0, 64, 0, true},
      {white, "go movetime 2000\n", 2000, 0, 1, 64, 0, true},
      {white, "go depth 7\n", 0, 0, 0, 7, 0, false},
      {white, "go infinite\n", 0, 0, 0, 64, 1, false},
      {white, "go ponder wtime 1000 btime 900 movestogo 12\n", 1000, 0, 12, 64, 1, true},
      {white, "go\n", 0, 0, 0, 64, 0, false},
      // A clock for the other side only: a zero clock (its value word is skipped on its own).
      {white, "go btime 100\n", 0, 0, 0, 64, 0, true},
      // Negative times read as 0; huge ones saturate; depth is kept within the ply bound.
      {white, "go wtime -500 winc -3\n", 0, 0, 0, 64, 0, true},
      {white, "go depth 1000\n", 0, 0, 0, 64, 0, false},
      {white, "go depth 0\n", 0, 0, 0, 1, 0, false},
      // A value keyword at the end of the line has no effect.
      {white, "go  wtime   300\twinc 20\r\n", 300, 20, 0, 64, 0, true},
      {white, "go searchmoves e2e4 d2d4\n", 0, 0, 0, 64, 0, false, "e2e4 d2d4", 20},
      {white, "go searchmoves e2e4 zz e2e5 e2e4 e7e5 g1f3\n", 0, 0, 0, 64, 0, false, "e2e4 g1f3", 20},
      {checks, "go searchmoves a1a8 e1c1 a1a2\n", 0, 0, 0, 64, 0, false, "a1a8 e1c1 a1a2", 16},
      // Mate and stalemate at the root: an empty list.
      {"7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", "go\n", 0, 0, 0, 64, 0, false, "", 0},
      {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "go infinite\n", 0, 0, 0, 64, 1, false, "", 0},
      // Node and mate limits: 64-bit node counts; 0 or less means none.
      {white, "go nodes 5000000000\n", 0, 0, 0, 64, 0, false, "", 20, 5000000000u},
      {white, "go mate 3 wtime 900\n", 900, 0, 0, 64, 0, true, "", 20, 0, 3},
      {white, "go depth 4 nodes 77 mate\n", 0, 0, 0, 4, 0, false, "", 20, 77},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    Position pos;
    ASSERT_TRUE(board::setupFromFen(pos, c.fen));
    search::SearchLimits limits;
    limits.stopRequested = 1;
    limits.singleRootMove = 1;
    limits.rootMoveCount = 3;
    limits.depthLimit = 5;
    limits.timeMs = 777;
    limits.nodeLimit = 9;
    limits.mateLimit = 9;
    uci::parseGo(c.line, pos, limits);
    EXPECT_EQ(limits.nodeLimit, c.nodeLimit);
    EXPECT_EQ(limits.mateLimit, c.mateLimit);
    EXPECT_EQ(limits.timeMs, c.timeMs);
    EXPECT_EQ(limits.incrementMs, c.incrementMs);
    EXPECT_EQ(limits.movesToGo, c.movesToGo);
    EXPECT_EQ(limits.depthLimit, c.depthLimit);
    EXPECT_EQ(limits.pondering.load(), c.pondering);
    EXPECT_EQ(limits.clockGiven, c.clockGiven);
    EXPECT_EQ(limits.stopRequested.load(), 0);
    EXPECT_EQ(limits.singleRootMove.load(), 0);
    board::Move legal[board::MAX_MOVES];
    const int count = int(board::generateLegalMoves(pos, legal) - legal);
    EXPECT_EQ(count, c.legalCount);
    if (!*c.rootMoves) {  // the legal list itself, check marks included
      ASSERT_EQ(limits.rootMoveCount, count);
      for (int i = 0; i < count; ++i) EXPECT_EQ(limits.rootMoves[size_t(i)], legal[i]);
      continue;
    }
    std::string roots;
    for (int i = 0; i < limits.rootMoveCount; ++i) {
      char text[8];
      board::moveToText(limits.rootMoves[size_t(i)], board::blackToMove(board::currentState(pos)), text);
      roots.append(i ? " " : "").append(text);
    }
    EXPECT_EQ(roots, c.rootMoves);
    if (c.fen == checks) {  // the check marks come with the moves: a1a8+, a1a2
      EXPECT_NE(limits.rootMoves[0] & board::MOVE_CHECK, 0u);
      EXPECT_EQ(limits.rootMoves[2] & board::MOVE_CHECK, 0u);
    }
  }
}

}  // namespace

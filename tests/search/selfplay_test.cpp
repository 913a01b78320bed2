// Two engines play each other through their pipes with a real clock. Every move is checked with the
// legal move generator; games end by mate, stalemate, threefold repetition, the fifty-move rule or
// insufficient material. No crash, no illegal move, no loss on time.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "platform/bits.h"
#include "support/engine_process.h"

namespace {

using testsupport::EngineProcess;

// A clock overrun smaller than this is the operating system's scheduling, not the engine's budget.
constexpr int64_t SCHEDULING_TOLERANCE_MS = 100;
constexpr int MAX_PLIES = 400;

int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool insufficientMaterial(const board::BoardState& s) {
  const board::Bitboard heavy = board::pawns(s) | board::rooks(s) | board::queens(s);
  if (heavy) return false;
  return platform::popcount(board::knights(s) | board::bishops(s)) <= 1;
}

struct GameResult {
  std::string end;
  int plies = 0;
  int64_t lowestClockMs = 0;
};

const char* const OPENINGS[] = {"e2e4 e7e5", "d2d4 d7d5", "c2c4 e7e5", "e2e4 c7c5", "g1f3 d7d5", "d2d4 g8f6"};

void startEngine(EngineProcess& engine) {
  engine.send("uci");
  ASSERT_TRUE(engine.waitFor("uciok", 5000));
  engine.send("setoption name Hash value 16");
  engine.send("setoption name Ponder value false");
  engine.send("ucinewgame");
  engine.send("isready");
  ASSERT_TRUE(engine.waitFor("readyok", 10000));
}

// Plays one game; engines[0] has White. Fails the test on a crash, an illegal move or a time loss.
void playGame(EngineProcess* engines[2], const std::string& opening, int64_t baseMs, int64_t incMs,
              GameResult& result) {
  auto pos = std::make_unique<board::Position>();
  ASSERT_TRUE(board::setupFromFen(*pos, board::START_FEN));
  std::string moves;
  std::vector<uint64_t> keys{board::currentState(*pos).key};
  int64_t clock[2] = {baseMs, baseMs};
  result.lowestClockMs = baseMs;
  for (int i = 0; i < 2; ++i) {
    engines[i]->send("ucinewgame");
    engines[i]->send("isready");
    ASSERT_TRUE(engines[i]->waitFor("readyok", 10000));
  }
  std::vector<std::string> openingMoves;
  for (size_t i = 0; i < opening.size(); i += 5) openingMoves.push_back(opening.substr(i, 4));

  for (int ply = 0;; ++ply) {
    board::Move legal[board::MAX_MOVES];
    board::Move* const legalEnd = board::generateLegalMoves(*pos, legal);
    const board::BoardState& s = board::currentState(*pos);
    if (legalEnd == legal) {
      result.end = board::isInCheck(s) ? "checkmate" : "stalemate";
      return;
    }
    if (s.halfmoveClock >= 100) { result.end = "fifty-move rule"; return; }
    if (std::count(keys.begin(), keys.end(), s.key) >= 3) { result.end = "threefold repetition"; return; }
    if (insufficientMaterial(s)) { result.end = "insufficient material"; return; }
    if (ply >= MAX_PLIES) { result.end = "adjudicated"; return; }

    const int side = ply % 2;
    const bool black = board::blackToMove(s);
    std::string text;
    if (size_t(ply) < openingMoves.size()) {
      text = openingMoves[size_t(ply)];
    } else {
      EngineProcess& engine = *engines[side];
      engine.send("position startpos" + (moves.empty() ? std::string() : " moves" + moves));
      const std::string go = "go wtime " + std::to_string(clock[0]) + " btime " + std::to_string(clock[1]) +
                             " winc " + std::to_string(incMs) + " binc " + std::to_string(incMs);
      const int64_t start = nowMs();
      engine.send(go);
      const auto line = engine.waitFor("bestmove", int(clock[side] + 10000));
      const int64_t used = nowMs() - start;
      ASSERT_TRUE(line) << "no bestmove (crash or hang) after" << moves;
      clock[side] -= used;
      result.lowestClockMs = std::min(result.lowestClockMs, clock[side]);
      ASSERT_GT(clock[side], -SCHEDULING_TOLERANCE_MS) << "time loss: " << go << " took " << used << " ms after" << moves;
      clock[side] += incMs;
      text = line->substr(9, line->find(' ', 9) == std::string::npos ? std::string::npos : line->find(' ', 9) - 9);
    }
    board::Move played = 0;
    for (board::Move* m = legal; m < legalEnd; ++m) {
      char buffer[8];
      board::moveToText(*m, black, buffer);
      if (text == buffer) played = *m;
    }
    ASSERT_NE(played, 0u) << "illegal move " << text << " after" << moves;
    board::makeMove(*pos, played);
    moves += " " + text;
    if (board::currentState(*pos).halfmoveClock == 0) {
      pos->states[0] = board::currentState(*pos);
      pos->current = pos->states.data();
      keys.clear();
    }
    keys.push_back(board::currentState(*pos).key);
    result.plies = ply + 1;
  }
}

void playMatch(int games, int64_t baseMs, int64_t incMs) {
  EngineProcess first;
  EngineProcess second;
  startEngine(first);
  startEngine(second);
  for (int g = 0; g < games; ++g) {
    EngineProcess* engines[2] = {g % 2 ? &second : &first, g % 2 ? &first : &second};
    GameResult result;
    playGame(engines, OPENINGS[(g / 2) % (sizeof OPENINGS / sizeof OPENINGS[0])], baseMs, incMs, result);
    if (::testing::Test::HasFatalFailure()) return;
    std::printf("game %d: %s after %d plies, lowest clock %lld ms\n", g + 1, result.end.c_str(), result.plies,
                static_cast<long long>(result.lowestClockMs));
  }
  first.send("quit");
  second.send("quit");
  EXPECT_EQ(first.waitExit(5000), 0);
  EXPECT_EQ(second.waitExit(5000), 0);
}

TEST(E2ESelfPlay, ShortGamesWithARealClock) { playMatch(2, 2000, 50); }

// The long soak: TESMAR_SOAK_GAMES games (default 200) at 1 s + 50 ms.
TEST(SlowSelfPlay, SoakWithAFastClock) {
  const char* env = std::getenv("TESMAR_SOAK_GAMES");
  playMatch(env ? std::max(1, std::atoi(env)) : 200, 1000, 50);
}

}  // namespace

#include "support/match.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/position.h"

namespace testsupport {

namespace {

int64_t monotonicMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool insufficientMaterial(const board::BoardState& s) {
  if (board::pawns(s) | board::rooks(s) | board::queens(s)) return false;
  return platform::popcount(board::knights(s) | board::bishops(s)) <= 1;
}

// The legal move whose text is exactly `text` (a promotion needs its letter), or 0.
board::Move findLegal(board::Position& pos, const std::string& text) {
  const board::Move move = board::legalMoveFromText(pos, text.c_str());
  char written[8] = "";
  if (move) board::moveToText(move, board::blackToMove(board::currentState(pos)), written);
  return text == written ? move : 0;
}

}  // namespace

bool isFailure(GameEnd end) {
  return end == GameEnd::IllegalMove || end == GameEnd::TimeLoss || end == GameEnd::NoAnswer;
}

const char* gameEndName(GameEnd end) {
  static const char* const names[] = {"checkmate", "stalemate",    "repetition", "fifty moves", "insufficient material",
                                      "move limit", "illegal move", "time loss",  "no answer"};
  return names[int(end)];
}

long peakRssKb(int pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return 0;
}

GameResult playGame(EngineProcess& white, EngineProcess& black, const MatchClock& clock,
                    const std::vector<std::string>& openingMoves, int maxPlies, const std::string& startFen) {
  GameResult result;
  auto position = std::make_unique<board::Position>();
  board::Position& pos = *position;
  board::setupFromFen(pos, startFen.empty() ? board::START_FEN : startFen);
  const std::string start = startFen.empty() ? "position startpos" : "position fen " + startFen;
  std::vector<uint64_t> keys{board::currentState(pos).key};
  std::string moveList;
  int64_t timeLeft[2] = {clock.baseMs, clock.baseMs};
  result.lowestClockMs = clock.baseMs;
  int timedMoves[2] = {0, 0};

  for (EngineProcess* e : {&white, &black}) {
    e->send("ucinewgame");
    e->send("isready");
    if (!e->waitFor("readyok", 30000)) {
      result.end = GameEnd::NoAnswer;
      result.detail = "no readyok after ucinewgame";
      return result;
    }
  }

  auto play = [&](board::Move move, const std::string& text) {
    board::makeMove(pos, move);
    if (board::currentState(pos).halfmoveClock == 0) {
      pos.states[0] = board::currentState(pos);
      pos.current = pos.states.data();
    }
    keys.push_back(board::currentState(pos).key);
    moveList += (moveList.empty() ? "" : " ") + text;
    ++result.plies;
  };

  for (const std::string& text : openingMoves) {
    const board::Move move = findLegal(pos, text);
    if (!move) break;
    play(move, text);
  }

  for (;;) {
    const board::BoardState& s = board::currentState(pos);
    const int side = board::blackToMove(s) ? 1 : 0;
    board::Move legal[board::MAX_MOVES];
    const int legalCount = int(board::generateLegalMoves(pos, legal) - legal);
    if (legalCount == 0) {
      if (board::isInCheck(s)) {
        result.end = GameEnd::Checkmate;
        result.score = side == 0 ? -1 : 1;
      } else {
        result.end = GameEnd::Stalemate;
      }
      break;
    }
    int repeats = 0;
    for (uint64_t k : keys) repeats += k == s.key;
    if (repeats >= 3) { result.end = GameEnd::Repetition; break; }
    if (s.halfmoveClock >= 100) { result.end = GameEnd::FiftyMoves; break; }
    if (insufficientMaterial(s)) { result.end = GameEnd::Material; break; }
    if (result.plies >= maxPlies) { result.end = GameEnd::MoveLimit; break; }

    EngineProcess& mover = side == 0 ? white : black;
    mover.send(start + (moveList.empty() ? std::string() : " moves " + moveList));
    char go[160];
    int length = std::snprintf(go, sizeof go, "go wtime %lld btime %lld winc %d binc %d", (long long)timeLeft[0],
                               (long long)timeLeft[1], clock.incrementMs, clock.incrementMs);
    if (clock.movesPerPeriod > 0)
      std::snprintf(go + length, sizeof go - size_t(length), " movestogo %d",
                    clock.movesPerPeriod - timedMoves[side] % clock.movesPerPeriod);
    const int64_t start = monotonicMs();
    mover.send(go);
    auto line = mover.waitFor("bestmove", int(timeLeft[side]) + 10000);
    const int64_t elapsed = monotonicMs() - start;
    if (!line) {
      result.end = GameEnd::NoAnswer;
      result.score = side == 0 ? -1 : 1;
      result.detail = std::string("no bestmove; engine ") + (mover.running() ? "alive" : "gone");
      break;
    }
    timeLeft[side] -= elapsed;
    if (timeLeft[side] < result.lowestClockMs) result.lowestClockMs = long(timeLeft[side]);
    if (timeLeft[side] < -clock.toleranceMs) {
      result.end = GameEnd::TimeLoss;
      result.score = side == 0 ? -1 : 1;
      result.detail = "overran by " + std::to_string(-timeLeft[side]) + " ms after: " + moveList;
      break;
    }
    if (timeLeft[side] < 0) timeLeft[side] = 0;
    timeLeft[side] += clock.incrementMs;
    if (clock.movesPerPeriod > 0 && ++timedMoves[side] % clock.movesPerPeriod == 0) timeLeft[side] += clock.baseMs;
    std::istringstream words(*line);
    std::string word, text;
    words >> word >> text;
    const board::Move move = findLegal(pos, text);
    if (!move) {
      result.end = GameEnd::IllegalMove;
      result.score = side == 0 ? -1 : 1;
      result.detail = "\"" + *line + "\" after: " + moveList;
      break;
    }
    play(move, text);
    for (EngineProcess* e : {&white, &black}) {
      const long rss = peakRssKb(e->pid());
      if (rss > result.peakRssKb) result.peakRssKb = rss;
    }
  }
  result.moves = moveList;
  return result;
}

}  // namespace testsupport

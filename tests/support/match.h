#pragma once
// A referee for games between two engine processes: it keeps the clocks, checks every move with the
// engine library's own legal move generator, and ends games by mate, stalemate, threefold
// repetition, the fifty-move rule or insufficient material.
#include <string>
#include <vector>

#include "support/engine_process.h"

namespace testsupport {

struct MatchClock {
  int baseMs = 2000;
  int incrementMs = 50;
  // An overrun up to this many milliseconds is taken as the operating system's scheduling on a busy
  // machine, not the engine's budget: the clock is set to zero and the game goes on.
  int toleranceMs = 0;
  // Repeating periods: every movesPerPeriod moves of a side add baseMs to its clock, and "go" carries
  // "movestogo". 0: one period for the whole game.
  int movesPerPeriod = 0;
};

enum class GameEnd { Checkmate, Stalemate, Repetition, FiftyMoves, Material, MoveLimit, IllegalMove, TimeLoss, NoAnswer };

struct GameResult {
  int score = 0;  // +1 White won, 0 draw, -1 Black won
  GameEnd end = GameEnd::MoveLimit;
  int plies = 0;
  std::string moves;   // the game in coordinate notation
  std::string detail;  // what went wrong, for failures
  long peakRssKb = 0;  // largest resident set of the two engines seen during the game
  long lowestClockMs = 0;  // lowest time left after a move, over both sides (negative: a tolerated overrun)
};

// True for the endings that mean an engine misbehaved.
bool isFailure(GameEnd end);
const char* gameEndName(GameEnd end);

// Plays one game from the start position (or startFen, a Chess960 one for instance), or from the
// position reached by openingMoves (coordinate notation). The engines must have answered
// "uci"/"isready" already; each gets "ucinewgame" first.
GameResult playGame(EngineProcess& white, EngineProcess& black, const MatchClock& clock,
                    const std::vector<std::string>& openingMoves = {}, int maxPlies = 400,
                    const std::string& startFen = "");

// Peak resident set size (VmHWM) of a process in KiB, 0 when unknown.
long peakRssKb(int pid);

}  // namespace testsupport

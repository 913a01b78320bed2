#pragma once
// Static evaluation: a tapered sum of terms computed once per side on a mirrored board.
#include <cstdint>

#include "board/position.h"

namespace eval {

// What the evaluation needs besides the board: the draw value, the Strength option and a
// per-thread pseudo-random state for the Strength noise.
struct EvalContext {
  int drawScore = 0;      // DrawScore option in internal units (centipawns * 4)
  int strength = 100;     // 1..100
  uint64_t rngState = 0x9E3779B97F4A7C15ULL;
};

// Fills the mg/eg fields of the key table's piece entries from the piece-square tables. Call after
// board::initKeyTable.
void initEvalTables();

// Score of the current position from the side to move's view, in quarter centipawns; the side to
// move must not be in check. Leaves the record exactly as found. Never reaches a mate score.
int evaluate(board::Position& pos, int ply, EvalContext& context);

}  // namespace eval

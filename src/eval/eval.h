#pragma once
// Static evaluation: a tapered sum of terms computed once per side on a mirrored board.
#include <array>
#include <cstdint>

#include "board/position.h"

namespace eval {

// What the evaluation needs besides the board: the draw value, the Strength option and a
// per-thread pseudo-random state for the Strength noise.
struct EvalContext {
  int drawScore = 0;      // DrawScore option in internal units (centipawns * 4)
  int strength = 100;     // 1..100
  uint64_t rngState = 0x9E3779B97F4A7C15ULL;
  // UCI_Elo's misjudgement: each position's evaluation is off by a fixed amount in -levelNoise..levelNoise
  // that its key and levelSeed decide (0 = none).
  int levelNoise = 0;
  uint64_t levelSeed = 0;
};

constexpr int TEMPO = 27;

// Term groups of the developer's breakdown.
enum EvalTerm : int {
  TERM_MATERIAL,     // material plus placement (the incrementally kept sums)
  TERM_PAWNS,        // pawn structure, passed and candidate pawns, king shelter and storm
  TERM_MOBILITY,
  TERM_KING_ATTACK,  // attacks on the enemy king zone, after the attacker-count scaling
  TERM_PIECES,       // outposts, bishops, minor pieces, rook files, trapped pieces, pairs
  TERM_THREATS,      // threats on pieces, safe checks, pins and x-rays
  TERM_PASSED_PATH,  // unstoppable passed pawns and the path in front of passed pawns
  TERM_COUNT
};

constexpr int WHITE = 0;
constexpr int BLACK = 1;

// Per-term breakdown of one evaluation, filled by the same code that the search runs.
// terms[term][colour][phase]: what the term gives that colour from its own point of view (phase 0
// middle game, 1 end game); the evaluation uses White's minus Black's (or the reverse).
struct EvalTrace {
  std::array<std::array<std::array<int, 2>, 2>, TERM_COUNT> terms{};
  int phase = 0;
  bool drawnMaterial = false;    // bare minor pieces: the draw value was returned, nothing else
  int mg = 0;                    // side to move's middle-game sum (material and all terms)
  int eg = 0;                    // the same for the end game
  int blended = 0;               // after the phase blend with the tempo bonus
  bool oppositeBishops = false;  // the blend was scaled by 3/4
  int halfmoveFactor = 32;       // the score was scaled by halfmoveFactor / 32
  int noise = 0;                 // the Strength noise that was added
  int score = 0;                 // the value evaluate returns
};

// Fills the mg/eg fields of the key table's piece entries from the piece-square tables. Call after
// board::initKeyTable.
void initEvalTables();

// Score of the current position from the side to move's view, in quarter centipawns; the side to
// move must not be in check. Leaves the record exactly as found. Never reaches a mate score.
int evaluate(board::Position& pos, int ply, EvalContext& context);

// The same evaluation with its breakdown (for tools and tests; the pawn cache is not read).
int evaluateTraced(board::Position& pos, int ply, EvalContext& context, EvalTrace& trace);

}  // namespace eval

#pragma once
// Move generators. Each appends scored entries at `end` and returns the new end (one past the last
// entry written); callers provide room for MAX_MOVES entries.
#include "board/position.h"
#include "board/types.h"

namespace board {

// Captures, en-passant captures and all promotions; pseudo-legal, no check marks.
ScoredMove* generateCaptures(const Position& pos, ScoredMove* end);
// All other moves, castling included, with correct MOVE_CHECK marks; not for positions in check.
ScoredMove* generateQuiets(const Position& pos, ScoredMove* end);
// For a side in check: king moves and captures/blocks of a single checker; no check marks.
ScoredMove* generateEvasions(const Position& pos, ScoredMove* end);
// Quiet (non-capturing, non-promoting) moves that give check, marked; castling excluded.
ScoredMove* generateQuietChecks(const Position& pos, ScoredMove* end);
// Every legal move, sorted, with its check mark; writes Move words from `out`, returns one past the
// last. `out` needs room for MAX_MOVES moves.
Move* generateLegalMoves(Position& pos, Move* out);

}  // namespace board

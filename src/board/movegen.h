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
// last. `out` needs room for MAX_MOVES moves. Order: castling, queen promotions and captures (most
// valuable victim, then least valuable attacker), quiet moves, then rook, bishop and knight
// promotions; of equal scores the one generated last comes first.
Move* generateLegalMoves(Position& pos, Move* out);

// The legal move (with its check mark) that coordinate text such as "e2e4" or "e7e8q" names in the
// current record, or 0 when the text names no legal move. For input that must not be trusted.
Move legalMoveFromText(Position& pos, const char* text);

}  // namespace board

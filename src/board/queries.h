#pragma once
// Attack and legality queries on the current record; none changes the board.
#include "board/position.h"
#include "board/types.h"

namespace board {

// The opponent's pieces that would attack the own king after the move (non-zero = illegal). Only
// the moving piece's type (king or not), MOVE_EN_PASSANT, from and to are read. For a side in
// check it is exact for king moves and for the non-king moves of generateEvasions only (a non-king
// move is not tested against knight and pawn checks).
Bitboard leavesKingAttacked(const Position& pos, Move move);

// Sets MOVE_CHECK when the capture or promotion gives check (never clears it).
void markCheckCapture(const Position& pos, Move& move);
// The same for any other move, castling included.
void markCheckQuiet(const Position& pos, Move& move);

bool inCheck(const Position& pos);

// The move (without MOVE_CHECK) can be played as a non-capturing move in the current position.
bool isPseudoLegalQuiet(const Position& pos, Move move);

}  // namespace board

#pragma once
// Move words: packing for the transposition table and conversion to and from UCI text.
#include "board/position.h"
#include "board/types.h"

namespace board {

PackedMove packMove(Move move);

// Unpacks against the current record of the position the word was stored for (not verified).
Move unpackMove(const Position& pos, PackedMove packed);

// Writes 4 or 5 characters and a NUL into buffer (at least 6 bytes). black: the move is Black's.
void moveToText(Move move, bool black, char* buffer);

// Reads up to five characters against the current record; never sets MOVE_CHECK; not validated.
Move textToMove(const Position& pos, const char* text);

}  // namespace board

#pragma once
// Setting up a position from FEN text.
#include <string_view>

#include "board/position.h"

namespace board {

constexpr const char* START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// Sets up states[0] from the FEN and makes it current (FLAG_IN_CHECK set when the side to move is
// in check). Returns false, leaving the position untouched, for a FEN that is unreadable or not a
// position the engine can hold (see fen.cpp for the rules).
bool setupFromFen(Position& pos, std::string_view fen);

// FEN text of the current record (for tools and tests).
void positionToFen(const Position& pos, char* buffer, int size);

}  // namespace board

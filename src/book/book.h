#pragma once
// Polyglot opening book.
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

namespace book {

// Opens the book file (closing any open one); false when it cannot be opened.
bool openBook(const char* path);
void closeBook();
bool bookIsOpen();

// Polyglot key of the current record (read from White's side; the position is left untouched).
uint64_t polyglotKey(board::Position& pos);

// A legal book move for the current position, allowed by the root move list, or 0.
board::Move bookProbe(board::Position& pos, bool alwaysBestBookMove, const board::Move* rootMoves,
                      int rootMoveCount);

}  // namespace book

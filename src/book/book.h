#pragma once
// Polyglot opening book: the key of a position, the lookup of its records in the book file and the
// choice of a book move.
//
// The file is a sequence of 16-byte big-endian records sorted by key (ascending, unsigned); the
// records of one key stand together, highest weight first. It is never loaded: each probe reads a
// few records by offset. Empty, truncated, unsorted, foreign or missing files give at worst no book
// move, and a book move is only ever one that is legal in the root position.
//
// openBook/closeBook run on the command loop's thread between searches (new game, quit); bookProbe
// runs on the search thread. The open file is kept in an atomic handle.
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

namespace book {

// One record of the file, converted from big-endian.
//   key     Polyglot key of the position
//   move    bits 0-5 destination, bits 6-11 origin (a1 = 0 .. h8 = 63, White's side), bits 12-14
//           promotion (0 none, 1 knight, 2 bishop, 3 rook, 4 queen); castling is king takes rook
//   weight  compared for equality with the run's first record only
//   learn   read, not used
struct BookEntry {
  uint64_t key;
  uint16_t move;
  uint16_t weight;
  uint32_t learn;
};
constexpr int BOOK_ENTRY_BYTES = 16;
// Only the first records of a run of one key can be chosen.
constexpr int BOOK_CANDIDATES = 16;

// Opens the book file (closing any open one); false when it cannot be opened (then no book is open).
bool openBook(const char* path);
void closeBook();
bool bookIsOpen();

// Polyglot key of a record (any side to move); the record is not changed.
uint64_t polyglotKey(const board::BoardState& state);
// Polyglot key of the current record (read from White's side; the position is left untouched).
uint64_t polyglotKey(board::Position& pos);

// The record's move as a bare move word in the side to move's view: from, to and promotion only
// (no piece, no flags). King-takes-rook becomes the castling move e1g1/e1c1 when the side to move
// holds that right. 0 for an empty record move (a1a1) or a promotion code above 4.
board::Move bookMoveToMove(uint16_t bookMove, const board::BoardState& state);

// A book move for the current position of pos, or 0. The candidates are the first BOOK_CANDIDATES
// records of the position's run that carry its first record's weight (every weight when
// alwaysBestBookMove is false) and whose move is legal and in rootMoves (a null rootMoves allows
// every legal move); one of them is chosen uniformly, with a generator seeded from the clock's
// microseconds. The returned word is the matching legal move (piece and flags filled in).
board::Move bookProbe(board::Position& pos, bool alwaysBestBookMove, const board::Move* rootMoves,
                      int rootMoveCount);

// bookProbe with the generator's seed given (deterministic; for tests and tools).
board::Move bookProbeSeeded(board::Position& pos, bool alwaysBestBookMove,
                            const board::Move* rootMoves, int rootMoveCount, uint64_t seed);

}  // namespace book

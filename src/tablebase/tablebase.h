#pragma once
// Syzygy endgame tablebases: registry, probing in the tree (WDL) and at the root (DTZ filter).
//
// Concurrency: initTablebases runs while no search runs. probeWdl may run in every search thread at
// once (the first use of a table is serialised inside). probeDtz and rootProbe use the DTZ cache,
// which has no lock: only the driver's thread calls them.
#include <atomic>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

namespace tb {

// Registers the tables found in the directories of path (";" separated, and ":" too except on
// Windows). Prints "info string Found %d tablebases." unless the path is empty or announce is false.
// A later call releases everything registered before and registers again.
void initTablebases(const char* path, bool announce = true);

// Largest number of pieces (kings included) of any registered table; 0 when none.
int largestTable();

// WDL of the current position for the side to move: -2 loss, -1 loss cursed by the fifty-move
// rule, 0 draw, 1 cursed win, 2 win. success: 0 failed (the value is then 0), else 1 or 2 (2: a
// capture establishes the value). The position is left as it was.
int probeWdl(board::Position& pos, int& success);

// DTZ of the current position: half-moves to the next capture or pawn move in optimal play,
// positive when the side to move wins, 100 added to the magnitude for results the fifty-move rule
// spoils, 0 for a draw. success: 0 failed. Driver thread only.
int probeDtz(board::Position& pos, int& success);

// Filters the root moves to those that keep the best tablebase result (kept moves first, in their
// order; rootMoveCount becomes their number) and sets score (internal units). Returns false, with
// nothing changed, when a probe failed. Driver thread only.
bool rootProbe(board::Position& pos, board::Move* rootMoves, int& rootMoveCount, int& score,
               bool fiftyMoveRule = true);

}  // namespace tb

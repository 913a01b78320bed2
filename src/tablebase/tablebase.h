#pragma once
// Syzygy endgame tablebases: registry, probing in the tree (WDL) and at the root (DTZ filter).
#include <atomic>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

namespace tb {

// Registers the tables found in the directories of path (";" separated, and ":" on POSIX). Prints
// "info string Found %d tablebases." unless the path is empty. Runs while no search runs.
void initTablebases(const char* path);

// Largest number of pieces (kings included) of any registered table; 0 when none.
int largestTable();

// WDL of the current position for the side to move (-2..2). success: 0 failed, else 1 or 2.
int probeWdl(board::Position& pos, int& success);

// DTZ of the current position (driver thread only). success: 0 failed.
int probeDtz(board::Position& pos, int& success);

// Filters the root moves to those that keep the best result and sets score (internal units).
// Returns false (nothing changed) when a probe failed. Driver thread only.
bool rootProbe(board::Position& pos, board::Move* rootMoves, int& rootMoveCount, int& score);

}  // namespace tb

#pragma once
// Leaf counts of the legal-move tree (perft), for the perft tool, tests and benchmarks.
#include <cstdint>

#include "board/position.h"

namespace board {

// Number of legal moves of the current record, counted without making or listing them (the record's
// FLAG_IN_CHECK must be right, as makeMove and setupFromFen leave it).
int countLegalMoves(Position& pos);

// Leaves of the legal-move tree of the given depth below the current record (1 for depth 0). The
// last ply is counted, not made.
uint64_t perft(Position& pos, int depth);

}  // namespace board

#pragma once
// The parsing behind the "position" and "go" handlers, usable without the global records and
// without starting a search.
#include <cstdint>

#include "board/position.h"
#include "board/types.h"
#include "search/limits.h"

namespace uci {

// The game history kept on the root stack never exceeds this many records: beyond it the oldest
// are dropped, so the search always has room on the stack.
constexpr int HISTORY_LIMIT = 100;

// Sets up pos from a "position" line (newline included or not): the start position or the FEN after
// "fen", then the moves after "moves", collapsing the history at every irreversible move. A move
// text that is not a legal move of the position reached ends the list. movesPlayed receives the
// number of moves played, halved, and moveNumber (when given) the game's move number reached (the
// FEN's plus the moves played). Returns false, leaving pos and both numbers untouched, when the line
// has no effect: nothing after "position", "fen" without text, or a FEN the board rejects.
bool setupPositionLine(board::Position& pos, const char* line, int32_t& movesPlayed, int32_t* moveNumber = nullptr);

// The legal move of the current position whose UCI text is `text` (length characters, the
// promotion letter in either case), with its check mark; 0 when there is none.
board::Move legalMoveFromText(board::Position& pos, const char* text, int length);

// Resets the per-search fields of limits and fills them from a "go" line for the root pos: clock,
// depth, node and mate limits, pondering, clockGiven and the root moves ("searchmoves", else every
// legal move). Leaves startMs, the option copies and movesPlayed alone; starts nothing.
void parseGo(const char* line, board::Position& pos, search::SearchLimits& limits);

}  // namespace uci

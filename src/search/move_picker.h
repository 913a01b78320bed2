#pragma once
// The staged move picker of a full-width node, the static exchange evaluation, and the killer and
// history tables' update rules.
//
// The picker is a plain state machine over data that lives in the node's frame (stage, the move list
// and its cursor, the hash move and four killers), so that several threads can continue it under a
// split point's lock. The list grows at `end`; picking takes the best entry and swaps it to the end.
#include <array>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"
#include "search/thread.h"

namespace search {

// Stages of the picker (numbers kept by a split point).
constexpr int STAGE_HASH_MOVE = 0;
constexpr int STAGE_GENERATE = 1;
constexpr int STAGE_GOOD_CAPTURES = 2;
constexpr int STAGE_KILLER_1 = 4;  // this ply's slot 0, 1, then ply - 2's slot 0, 1 (stages 4-7)
constexpr int STAGE_GENERATE_QUIETS = 8;
constexpr int STAGE_REMAINING = 9;

// Ordering scores besides those of the generators.
constexpr int32_t SCORE_HASH_MOVE = 0x40000000;
constexpr int32_t SCORE_GOOD = 0x40000000;  // good captures and queen promotions lie at or above
constexpr int32_t SCORE_KILLER = 0x40000000;
constexpr int32_t SCORE_QUIET = 0x30000000;

// Room for every pseudo-legal move of a position (losing captures stay in the list with the quiets).
constexpr int PICKER_CAPACITY = 320;

struct MovePicker {
  int stage = STAGE_HASH_MOVE;
  bool inCheck = false;
  int ply = 0;
  board::Move ttMove = 0;
  std::array<board::Move, 4> killers{};  // this ply's two, then ply - 2's two (0 below ply 2)
  board::ScoredMove* end = nullptr;       // one past the last remaining entry
  std::array<board::ScoredMove, PICKER_CAPACITY> list;
};

// Prepares a picker for the current position of the thread (ttMove already verified or 0).
void initPicker(MovePicker& picker, const SearchThread& thread, int ply, board::Move ttMove);

// The next move (legal, MOVE_CHECK right) and its ordering score; 0 when the node's moves are
// exhausted.
board::Move nextMove(SearchThread& thread, MovePicker& picker, int32_t& score);

// Swap-off exchange value of a move on its destination square (a quiet move starts from nothing
// captured), in exchange-value units.
int staticExchange(const board::BoardState& state, board::Move move);

// Whether a move word (from the transposition table) can be played in the current position: it is
// pseudo-legal, resolves a check when in check, and leaves the own king safe. On success the move's
// MOVE_CHECK mark is recomputed.
bool fitsPosition(const board::Position& pos, board::Move& move);

// History index of a move of the side to move: piece code * 64 + destination.
inline int historyIndex(const board::BoardState& state, board::Move move) {
  const int code = (board::movePiece(move) + 8) ^ (state.flags & board::FLAG_BLACK);
  return code * 64 + board::moveTo(move);
}

// End-of-node updates for a best move that is neither a capture nor a promotion.
void rewardHistory(SearchThread& thread, const board::BoardState& state, int ply, int depth,
                   board::Move move);
void updateKillers(SearchThread& thread, int ply, board::Move move);

// Start of a search: killers move two plies toward the root, the last two plies are cleared, the
// history table is cleared.
void prepareThreadTables(SearchThread& thread);

}  // namespace search

#pragma once
// The per-move rules of the move loop, shared by a node's own loop and by the threads of a split
// point: pruning, reduction and extension of a move, and the principal-variation search of a move
// once it is made.
#include "board/position.h"
#include "board/types.h"
#include "platform/bits.h"
#include "search/search.h"
#include "search/thread.h"

namespace search {

// Reduction of the move (0 or more), or -1 when the move is pruned; `extension` is set to 0 or 1.
// moveCount counts the moves tried so far at the node, this one included.
inline int moveReduction(const board::BoardState& s, board::Move move, int32_t orderScore,
                         board::Move ttMove, bool inCheck, int nodeType, int depth, int moveCount,
                         int staticEval, int alpha, int& extension) {
  using namespace board;
  extension = 0;
  const bool reducible = !inCheck &&
                         !(move & (MOVE_CHECK | MOVE_CAPTURE | MOVE_PROMOTION | MOVE_CASTLING)) &&
                         withoutCheck(move) != withoutCheck(ttMove) && !isPassedPawnPush(s, move);
  if (!reducible) {
    if (nodeType == NODE_PV && (move & MOVE_CHECK)) extension = 1;
    return 0;
  }
  const int logMoves = platform::floorLog2(uint64_t(moveCount));
  const int logDepth = platform::floorLog2(uint64_t(depth));
  if (nodeType == NODE_PV) return 13 * logMoves * logDepth / 64 + 1;
  if (depth > 7) return 16 * logMoves * logDepth / 64 + 1;
  const bool futile = staticEval + 300 * depth < alpha && !isMateScore(alpha);
  const bool badHistory = depth == 1 && orderScore < 0x30000385 && !isMateScore(alpha);
  if (futile || badHistory) return -1;
  return logMoves * logDepth / 4 + 1;
}

// Searches the move just made at a node of the given type and ply, and returns its score from the
// node's view. moveCount below 2 at a PV node is its first move, searched with the full window.
inline int searchMadeMove(SearchThread& thread, int nodeType, int ply, int newDepth, int reduction,
                          int alpha, int beta, int nullAllowed, int moveCount) {
  int v;
  if (nodeType != NODE_PV || moveCount < 2) {
    const int childType =
        nodeType == NODE_PV ? NODE_PV : (nodeType == NODE_CUT ? NODE_ALL : NODE_CUT);
    v = -search(thread, childType, ply + 1, newDepth - reduction, -beta, -alpha, nullAllowed);
    if (reduction > 0 && newDepth != 0 && v > alpha)
      v = -search(thread, childType, ply + 1, newDepth, -beta, -alpha, nullAllowed);
  } else {
    v = -search(thread, NODE_CUT, ply + 1, newDepth - reduction, -alpha - 1, -alpha, nullAllowed);
    if (reduction > 0 && newDepth != 0 && v > alpha)
      v = -search(thread, NODE_CUT, ply + 1, newDepth, -alpha - 1, -alpha, nullAllowed);
    if (v > alpha) v = -search(thread, NODE_PV, ply + 1, newDepth, -beta, -alpha, nullAllowed);
  }
  return v;
}

}  // namespace search

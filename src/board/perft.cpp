#include "board/perft.h"

#include "board/make_move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "board/queries_inline.h"

namespace board {

namespace {

// Pseudo-legal moves of the record (evasions when in check), quiet ones with their check marks.
ScoredMove* generateAll(const Position& pos, ScoredMove* list) {
  if (isInCheck(currentState(pos))) return generateEvasions(pos, list);
  return generateQuiets(pos, generateCaptures(pos, list));
}

}  // namespace

int countLegalMoves(Position& pos) {
  ScoredMove list[MAX_MOVES];
  ScoredMove* last = generateAll(pos, list);
  const BoardState& s = currentState(pos);
  int count = 0;
  for (ScoredMove* m = list; m != last; ++m) count += leavesKingAttackedInline(s, m->move) == 0;
  return count;
}

uint64_t perft(Position& pos, int depth) {
  if (depth <= 0) return 1;
  if (depth == 1) return uint64_t(countLegalMoves(pos));
  ScoredMove list[MAX_MOVES];
  ScoredMove* last = generateAll(pos, list);
  uint64_t nodes = 0;
  for (ScoredMove* m = list; m != last; ++m) {
    Move move = m->move;
    if (leavesKingAttackedInline(currentState(pos), move)) continue;
    if (move & (MOVE_CAPTURE | MOVE_PROMOTION)) {
      markCheckCapture(pos, move);
    } else if (!(move & MOVE_CHECK)) {
      markCheckQuiet(pos, move);
    }
    makeMove(pos, move);
    nodes += perft(pos, depth - 1);
    unmakeMove(pos);
  }
  return nodes;
}

}  // namespace board

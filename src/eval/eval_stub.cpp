// Placeholder until the evaluation lands.
#include "eval/eval.h"
#include "eval/pawn_cache.h"

namespace eval {

PawnCache pawnCache;
void initEvalTables() {}
int evaluate(board::Position& pos, int, EvalContext&) {
  const board::BoardState& s = board::currentState(pos);
  return (s.psqMg + s.psqEg) / 2;
}

}  // namespace eval

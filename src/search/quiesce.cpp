#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "eval/eval.h"
#include "eval/material.h"
#include "search/move_picker.h"
#include "search/search.h"
#include "search/tt.h"

namespace search {

using namespace board;

namespace {

constexpr int DELTA_MARGIN = 520;

// The quiescence node's move order: the hash move, then captures and promotions by sort key while the
// key is at least SCORE_GOOD, then (at the first ply, out of check) the quiet checks appended, then the
// rest of the list from its end to its front.
struct QuiescenceMoves {
  int stage = 0;
  ScoredMove* end = nullptr;
  ScoredMove list[PICKER_CAPACITY];

  // The next candidate move (not yet tested for legality); 0 when none is left.
  Move next(const Position& pos, bool inCheck, int depth) {
    if (stage == 0) {
      end = inCheck ? generateEvasions(pos, list) : generateCaptures(pos, list);
      stage = 1;
      ttPrefetchChildren(currentState(pos), list, end);
    }
    if (stage == 1) {
      if (end > list) {
        ScoredMove* best = end - 1;
        for (ScoredMove* p = end - 2; p >= list; --p)
          if (p->score > best->score) best = p;
        if (best->score >= SCORE_GOOD) {
          const Move m = best->move;
          *best = *(end - 1);
          --end;
          return m;
        }
      }
      if (!inCheck && depth >= 0) {
        ScoredMove* const checks = end;
        end = generateQuietChecks(pos, end);
        ttPrefetchChildren(currentState(pos), checks, end);
      }
      stage = 2;
    }
    if (end == list) return 0;
    return (--end)->move;
  }
};

}  // namespace

int quiesce(SearchThread& thread, int nodeType, int ply, int depth, int alpha, int beta) {
  Position& pos = thread.position;
  bumpCounter(thread.nodes);
  const BoardState& s = currentState(pos);
  const bool inCheck = isInCheck(s);
  if ((s.flags & FLAG_REPETITION) || s.halfmoveClock > 100 || (s.halfmoveClock == 100 && !inCheck))
    return drawValue(ply);
  if (ply >= MAX_PLY - 1)
    return inCheck ? drawValue(ply) : eval::evaluate(pos, ply, thread.evalContext);

  // Transposition table.
  Move ttMove = 0;
  int staticEval = NO_EVAL;
  TTHit hit;
  if (ttProbe(tt, s.key, ply, hit)) {
    if (hit.depth >= depth) {
      if (hit.bound == BOUND_EXACT) return hit.score;
      if (hit.bound == BOUND_LOWER && hit.score >= beta) return hit.score;
      if (hit.bound == BOUND_UPPER && hit.score <= alpha) return hit.score;
    }
    staticEval = hit.staticEval;
    ttMove = unpackMove(pos, hit.move);
    if (ttMove && !fitsPosition(pos, ttMove)) ttMove = 0;
  }

  bool raised = false;  // the stand pat or a move raised alpha
  Move bestMove = 0;
  auto store = [&] {
    if (!ttMayStoreQuiescence(tt, s.key)) return;
    const int bound = !raised ? BOUND_UPPER : (alpha < beta ? BOUND_EXACT : BOUND_LOWER);
    ttStore(tt, s.key, ply, bound, depth, alpha, staticEval, raised ? bestMove : 0);
  };

  // Stand pat.
  if (inCheck) {
    staticEval = NO_EVAL;
  } else {
    if (staticEval == NO_EVAL) staticEval = eval::evaluate(pos, ply, thread.evalContext);
    if (staticEval > alpha) {
      alpha = staticEval;
      raised = true;
    }
    if (alpha >= beta) {
      store();
      return alpha;
    }
  }

  const int childType = nodeType == NODE_PV ? NODE_PV : (nodeType ^ 1);
  const Move hash = withoutCheck(ttMove);
  QuiescenceMoves moves;
  int legal = 0;
  bool hashPending = ttMove != 0;
  for (;;) {
    Move m;
    const bool isHash = hashPending;
    if (hashPending) {
      hashPending = false;
      m = ttMove;
    } else {
      m = moves.next(pos, inCheck, depth);
      if (!m) break;
      if (withoutCheck(m) == hash) continue;
    }

    if (inCheck) {
      if (!isHash) {
        if (leavesKingAttacked(pos, m)) continue;
        if (m & (MOVE_CAPTURE | MOVE_PROMOTION))
          markCheckCapture(pos, m);
        else
          markCheckQuiet(pos, m);
      }
      ++legal;
      if (legal > 1 && !isMateScore(alpha) && movePiece(m) != KING && staticExchange(s, m) <= 0)
        continue;
    } else {
      // Out of check the pruning rules come first: a pruned move needs neither the legality test
      // nor its check flag, except a capture that only a check would keep.
      bool checkKnown = isHash || !(m & (MOVE_CAPTURE | MOVE_PROMOTION));
      if (nodeType != NODE_PV && (m & (MOVE_CAPTURE | MOVE_PROMOTION)) == MOVE_CAPTURE && !isHash &&
          eval::PieceValue[moveCaptured(m)] + DELTA_MARGIN + staticEval < alpha && !isMateScore(alpha)) {
        markCheckCapture(pos, m);
        checkKnown = true;
        if (!(m & MOVE_CHECK)) continue;
      }
      if (m & (MOVE_CAPTURE | MOVE_PROMOTION)) {
        const int piece = movePiece(m);
        if (piece != PAWN && piece != KING && moveCaptured(m) < piece && staticExchange(s, m) <= 0)
          continue;
      } else if ((m & MOVE_CHECK) && staticExchange(s, m) < 0) {
        continue;
      }
      if (!isHash && leavesKingAttacked(pos, m)) continue;
      if (!checkKnown) markCheckCapture(pos, m);
      ++legal;
    }

    makeMove(pos, m, ttPrefetch);
    const int v = -quiesce(thread, childType, ply + 1, depth - 1, -beta, -alpha);
    unmakeMove(pos);
    if (v > alpha) {
      alpha = v;
      bestMove = m;
      raised = true;
      if (alpha >= beta) {
        store();
        return alpha;
      }
    }
  }
  if (inCheck && legal == 0) return ply - MATE;
  store();
  return alpha;
}

}  // namespace search

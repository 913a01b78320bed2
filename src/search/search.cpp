#include "search/search.h"

#include <algorithm>
#include <cstdlib>

#include "board/make_move.h"
#include "board/move.h"
#include "eval/eval.h"
#include "platform/bits.h"
#include "platform/clock.h"
#include "search/move_loop.h"
#include "search/threads.h"
#include "search/move_picker.h"
#include "search/tt.h"
#include "tablebase/tablebase.h"

namespace search {

using namespace board;

namespace {

inline bool hasPieces(const BoardState& s) {
  // Knights, bishops, rooks and queens of the side to move: everything but pawns and the king.
  return (s.bb[0] & occupied(s) & ~pawns(s) & ~kings(s)) != 0;
}

// WDL score of a tablebase hit, in the mate range so that wins prefer fewer opposing pieces and
// losses more own pieces.
int tablebaseScore(const BoardState& s, int wdl, int ply) {
  const int own = platform::popcount(s.bb[0]);
  const int opp = platform::popcount(opponentPieces(s));
  if (wdl == -2) return ply - MATE + 100 * own - 15 * opp;
  if (wdl == 2) return MATE - ply + 15 * own - 100 * opp;
  return drawValue(ply);
}

// A node at the ply bound returns its static evaluation.
int plyBoundScore(SearchThread& thread, int ply) {
  if (isInCheck(currentState(thread.position))) return drawValue(ply);
  return eval::evaluate(thread.position, ply, thread.evalContext);
}

}  // namespace

bool isPassedPawnPush(const BoardState& s, Move move) {
  if (movePiece(move) != PAWN) return false;
  const int to = moveTo(move);
  if (rankOf(to) == 7) return true;
  const Bitboard ahead = ~Bitboard(0) << ((rankOf(to) + 1) * 8);
  const Bitboard file = FILE_A << fileOf(to);
  const Bitboard files = file | ((file << 1) & NOT_FILE_A) | ((file >> 1) & NOT_FILE_H);
  return (pawns(s) & opponentPieces(s) & ahead & files) == 0;
}

uint64_t totalNodes() {
  uint64_t sum = 0;
  for (int i = 0; i < std::max(searchLimits.threads, 1); ++i)
    sum += searchThreads[size_t(i)].nodes.load(std::memory_order_relaxed);
  return sum;
}

void checkClock(SearchThread& thread) {
  // A strength level's budget can be a few dozen nodes: it is checked more often.
  thread.nextClockCheck =
      thread.nodes.load(std::memory_order_relaxed) + (searchLimits.levelNodes ? LEVEL_CHECK_INTERVAL : CLOCK_CHECK_INTERVAL);
  if (!searchLimits.hardDeadlineArmed.load(std::memory_order_relaxed)) return;
  // The level's budget holds while pondering too; the move then waits for "ponderhit".
  if (searchLimits.levelNodes != 0 && totalNodes() >= searchLimits.levelNodes) {
    searchLimits.stopRequested.store(1, std::memory_order_relaxed);
    return;
  }
  if (searchLimits.pondering.load(std::memory_order_relaxed)) return;
  if (searchLimits.nodeLimit != 0 && totalNodes() >= searchLimits.nodeLimit) {
    searchLimits.stopRequested.store(1, std::memory_order_relaxed);
    return;
  }
  if (searchLimits.hardDeadlineMs == NO_DEADLINE) return;
  if (platform::nowMs() > searchLimits.hardDeadlineMs)
    searchLimits.stopRequested.store(1, std::memory_order_relaxed);
}

int search(SearchThread& thread, int nodeType, int ply, int depth, int alpha, int beta,
           int nullAllowed) {
  Position& pos = thread.position;

  // 1-3: clock, stop, quiescence.
  if (thread.nodes.load(std::memory_order_relaxed) > thread.nextClockCheck) {
    checkClock(thread);
    keepApart(thread);
  }
  if (searchStopped(thread)) return 0;
  if (depth <= 0) return quiesce(thread, nodeType, ply, 0, alpha, beta);

  // 4-5: count the node; draws by repetition and the fifty-move rule.
  bumpCounter(thread.nodes);
  const BoardState& s = currentState(pos);
  const bool inCheck = isInCheck(s);
  if ((s.flags & FLAG_REPETITION) || s.halfmoveClock > 100 || (s.halfmoveClock == 100 && !inCheck))
    return drawValue(ply);
  if (ply >= MAX_PLY - 1) return plyBoundScore(thread, ply);

  // 6: mate-distance pruning.
  alpha = std::max(alpha, ply - MATE);
  beta = std::min(beta, MATE - ply);
  if (alpha >= beta) return alpha;

  // 7: transposition table.
  Move ttMove = 0;
  int staticEval = NO_EVAL;
  bool avoidNull = false;
  TTHit hit;
  if (ttProbe(tt, s.key, ply, hit)) {
    if (hit.depth >= depth) {
      if (hit.bound == BOUND_EXACT) return hit.score;
      if (hit.bound == BOUND_LOWER && hit.score >= beta) return hit.score;
      if (hit.bound == BOUND_UPPER && hit.score <= alpha) return hit.score;
      avoidNull = hit.bound == BOUND_UPPER && hit.score > alpha && hit.score < beta &&
                  hit.depth >= (24 * depth - 96) / 32;
    }
    staticEval = hit.staticEval;
    ttMove = unpackMove(pos, hit.move);
    if (ttMove && !fitsPosition(pos, ttMove)) ttMove = 0;
  }

  // 8: tablebases.
  if (s.halfmoveClock == 0 && searchLimits.tbProbeLimit > 0 && depth >= searchLimits.syzygyProbeDepth &&
      platform::popcount(occupied(s)) <= searchLimits.tbProbeLimit) {
    int success = 0;
    int wdl = tb::probeWdl(pos, success);
    if (success) {
      bumpCounter(thread.tbHits);
      // Without the fifty-move rule a cursed win is a win and a blessed loss a loss.
      if (!searchLimits.syzygy50MoveRule && (wdl == 1 || wdl == -1)) wdl *= 2;
      return tablebaseScore(s, wdl, ply);
    }
  }

  // The null move's child, searched next at most nodes that get this far, has its table slot loaded
  // while the node evaluates.
  if (nodeType != NODE_PV && !inCheck && nullAllowed) ttPrefetchSlot(keyAfterNullMove(s));

  // 9: static evaluation (none in check).
  if (staticEval == NO_EVAL && !inCheck) staticEval = eval::evaluate(pos, ply, thread.evalContext);

  // 10-13: pruning before any move, at non-PV nodes out of check.
  if (nodeType != NODE_PV && !inCheck) {
    if (depth <= 4 && staticEval + 950 * depth <= alpha) {
      const int q = quiesce(thread, nodeType, ply, 0, alpha, beta);
      if (q <= alpha) return q;
    }
    const bool pieces = hasPieces(s);
    if (depth <= 7 && beta <= staticEval - 300 * depth && !isMateScore(beta) && pieces)
      return staticEval - 300 * depth;
    if (!(nodeType == NODE_ALL && depth > 12) && nullAllowed && !avoidNull && pieces) {
      makeNullMove(pos);
      const int v = -search(thread, NODE_ALL, ply + 1, (24 * depth - 96) / 32, -beta, -alpha, 0);
      unmakeMove(pos);
      if (searchStopped(thread)) return 0;
      if (v >= beta) return std::abs(v) < MATE_BOUND ? v : beta;
    }
  }

  // 14: internal iterative deepening.
  if (!ttMove && (nodeType == NODE_PV || (nodeType == NODE_CUT && depth >= 9))) {
    search(thread, nodeType, ply + 1, depth - 3, alpha, beta, nullAllowed);
    if (searchStopped(thread)) return 0;
    if (ttProbe(tt, s.key, ply, hit)) {
      ttMove = unpackMove(pos, hit.move);
      if (ttMove && !fitsPosition(pos, ttMove)) ttMove = 0;
    }
  }

  // 15: the move loop.
  MovePicker picker;
  initPicker(picker, thread, ply, ttMove);
  int moveCount = 1;
  int produced = 0;
  Move bestMove = 0;
  int32_t orderScore = 0;
  while (const Move move = nextMove(thread, picker, orderScore)) {
    ++produced;
    if (searchStopped(thread)) return 0;
    int extension = 0;
    const int reduction = moveReduction(s, move, orderScore, ttMove, inCheck, nodeType, depth,
                                        moveCount, staticEval, alpha, extension);
    if (reduction < 0) {
      ++moveCount;
      continue;
    }
    makeMove(pos, move, ttPrefetch);
    const int v = searchMadeMove(thread, nodeType, ply, depth - 1 + extension, reduction, alpha, beta,
                                 nullAllowed, moveCount);
    unmakeMove(pos);
    if (searchStopped(thread)) return 0;

    if (v > alpha) {
      alpha = v;
      bestMove = move;
    }
    if (alpha >= beta) break;
    if (trySplit(thread, picker, nodeType, ply, depth, alpha, beta, staticEval, nullAllowed,
                 moveCount, bestMove)) {
      if (searchStopped(thread)) return 0;
      break;
    }
    ++moveCount;
  }

  // 16: no legal move: mate or stalemate.
  if (produced == 0) return inCheck ? ply - MATE : drawValue(ply);

  // 17: store, reward, return.
  const int bound = bestMove == 0 ? BOUND_UPPER : (alpha < beta ? BOUND_EXACT : BOUND_LOWER);
  if (nodeType == NODE_PV || ttMayStoreNonPv(tt, s.key))
    ttStore(tt, s.key, ply, bound, depth, alpha, staticEval, bestMove);
  if (bestMove && !(bestMove & (MOVE_CAPTURE | MOVE_PROMOTION))) {
    if (depth > 3) rewardHistory(thread, s, ply, depth, bestMove);
    if (!inCheck) updateKillers(thread, ply, bestMove);
  }
  return alpha;
}

}  // namespace search

#include "search/driver.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "board/make_move.h"
#include "board/move.h"
#include "book/book.h"
#include "eval/eval.h"
#include "platform/bits.h"
#include "platform/clock.h"
#include "platform/log_file.h"
#include "platform/output.h"
#include "search/limits.h"
#include "search/move_picker.h"
#include "search/search.h"
#include "search/thread.h"
#include "search/threads.h"
#include "search/time_manager.h"
#include "search/tt.h"
#include "tablebase/tablebase.h"

namespace search {

using namespace board;

SearchResult lastSearch;

namespace {

constexpr int ASPIRATION_MARGIN = 120;
constexpr int PV_CAPACITY = 64;

uint64_t totalNodes() {
  uint64_t sum = 0;
  for (int i = 0; i < std::max(searchLimits.threads, 1); ++i)
    sum += searchThreads[i].nodes.load(std::memory_order_relaxed);
  return sum;
}

uint64_t totalTbHits() {
  uint64_t sum = 0;
  for (int i = 0; i < std::max(searchLimits.threads, 1); ++i)
    sum += searchThreads[i].tbHits.load(std::memory_order_relaxed);
  return sum;
}

// One search line to standard output (and the log when logging), flushed.
void emit(const char* text) {
  if (searchLimits.silent) return;
  platform::printLine("%s", text);
  platform::flushOut();
  if (searchLimits.logEnabled) platform::logPrint("%s", text);
}

// Appends formatted text to a line buffer.
[[gnu::format(printf, 4, 5)]] void append(char* buffer, int size, int& length, const char* format, ...) {
  if (length >= size) return;
  va_list args;
  va_start(args, format);
  const int written = std::vsnprintf(buffer + length, size_t(size - length), format, args);
  va_end(args);
  if (written > 0) length = std::min(size - 1, length + written);
}

void appendScore(char* line, int size, int& length, int score) {
  if (!isMateScore(score))
    append(line, size, length, "score cp %4d pv ", score / 4);
  else
    append(line, size, length, "score mate %2d pv ", score >= 1 ? (MATE + 1 - score) / 2 : (-MATE - score) / 2);
}

int64_t elapsedMs() { return platform::nowMs() - searchLimits.startMs; }

// Sleeps the Strength delay in short steps; a stop or (not pondering) the hard deadline ends it.
void strengthDelay(int depth) {
  const int64_t until = platform::nowMs() + int64_t(500 - 5 * searchLimits.strength) * depth;
  for (;;) {
    const int64_t now = platform::nowMs();
    if (now >= until || stopRequested()) return;
    if (!searchLimits.pondering.load(std::memory_order_relaxed) && now > searchLimits.hardDeadlineMs)
      return;
    platform::sleepMs(std::min<int64_t>(until - now, 5));
  }
}

// While pondering or in infinite analysis, "bestmove" waits for "stop" or "ponderhit".
void waitWhilePondering() {
  while (searchLimits.pondering.load() && !searchLimits.stopRequested.load()) platform::sleepMs(1);
}

void finish(Move best, Move ponder) {
  const bool black = blackToMove(currentState(rootPosition()));
  char line[64];
  int length = 0;
  if (best) {
    char text[8];
    moveToText(best, black, text);
    append(line, sizeof line, length, "bestmove %s ", text);
    if (ponder) {
      moveToText(ponder, !black, text);
      append(line, sizeof line, length, "ponder %s ", text);
    }
  } else {
    append(line, sizeof line, length, "bestmove 0000");
  }
  append(line, sizeof line, length, "\n");
  emit(line);
  if (searchLimits.logEnabled && !searchLimits.silent) platform::logFlush();
}

void moveToFront(Move move) {
  auto& moves = searchLimits.rootMoves;
  for (int i = 0; i < searchLimits.rootMoveCount; ++i) {
    if (withoutCheck(moves[i]) == withoutCheck(move)) {
      const Move found = moves[i];
      for (int j = i; j > 0; --j) moves[j] = moves[j - 1];
      moves[0] = found;
      return;
    }
  }
}

void driver() {
  SearchLimits& limits = searchLimits;
  SearchThread& main = searchThreads[0];
  Position& pos = main.position;
  const BoardState& root = currentState(pos);
  const bool inCheck = isInCheck(root);
  auto& moves = limits.rootMoves;

  // Thread 0's tables and counters.
  main.index = 0;
  prepareThreadTables(main);
  main.evalContext.drawScore = limits.drawScore;
  main.evalContext.strength = limits.strength;
  main.nodes.store(0, std::memory_order_relaxed);
  main.tbHits.store(0, std::memory_order_relaxed);
  main.nextClockCheck = 1024;
  limits.hardDeadlineArmed.store(0);
  lastSearch = SearchResult{};

  // No legal move at the root: report mate or stalemate and play the null move.
  if (limits.rootMoveCount <= 0 || tt.entries == nullptr) {
    if (limits.rootMoveCount <= 0)
      emit(inCheck ? "info depth 0 score mate 0\n" : "info depth 0 score cp 0\n");
    waitWhilePondering();
    finish(limits.rootMoveCount > 0 ? moves[0] : 0, 0);
    return;
  }

  // Opening book.
  if (book::bookIsOpen() && !limits.pondering.load()) {
    const Move bookMove = book::bookProbe(pos, limits.alwaysBestBookMove, moves.data(), limits.rootMoveCount);
    if (bookMove) {
      lastSearch.bestMove = bookMove;
      lastSearch.fromBook = true;
      finish(bookMove, 0);
      return;
    }
  }

  // Tablebases at the root.
  limits.tbProbeLimit = std::min(tb::largestTable(), limits.syzygyProbeLimit);
  bool tbRootSolved = false;
  int tbRootScore = 0;
  if (platform::popcount(occupied(root)) <= limits.tbProbeLimit) {
    main.tbHits.store(uint64_t(limits.rootMoveCount), std::memory_order_relaxed);
    if (tb::rootProbe(pos, moves.data(), limits.rootMoveCount, tbRootScore)) {
      tbRootSolved = true;
      limits.tbProbeLimit = 0;
    } else {
      main.tbHits.store(0, std::memory_order_relaxed);
    }
  }

  // The previous principal variation stays valid; its first move leads.
  const Move carried = ttCarryPv(tt, pos);
  if (carried) moveToFront(carried);
  ttNewSearch(tt);
  int rootStaticEval = NO_EVAL;
  TTHit rootHit;
  if (ttProbe(tt, root.key, 0, rootHit)) rootStaticEval = rootHit.staticEval;
  if (rootStaticEval == NO_EVAL && !inCheck) rootStaticEval = eval::evaluate(pos, 0, main.evalContext);

  if (limits.rootMoveCount == 1) {
    limits.singleRootMove.store(1);
    if (!limits.pondering.load() && limits.depthLimit > 8) limits.depthLimit = 9;
  }

  startThreads(limits.threads);
  main.nodes.store(1, std::memory_order_relaxed);
  Move bestOut = moves[0];
  Move ponderOut = 0;
  int alpha = -INFINITE_SCORE;
  int beta = INFINITE_SCORE;
  int depth = 1;
  const int count = limits.rootMoveCount;
  for (;;) {
    // Root move loop with the aspiration window; a failed pass restarts with the full window.
    int i = 0;
    while (i < count) {
      const Move move = moves[i];
      int reduction = 0;
      if (i >= 1 && !inCheck && !(move & (MOVE_CHECK | MOVE_CAPTURE | MOVE_PROMOTION | MOVE_CASTLING)) &&
          !isPassedPawnPush(root, move))
        reduction = 13 * platform::floorLog2(uint64_t(i)) * platform::floorLog2(uint64_t(depth)) / 64 + 1;
      makeMove(pos, move);
      int v;
      if (i == 0) {
        v = -search(main, NODE_PV, 1, depth - 1, -beta, -alpha, 1);
      } else {
        v = -search(main, NODE_CUT, 1, depth - 1 - reduction, -alpha - 1, -alpha, 1);
        if (reduction > 0 && depth - 1 >= 1 && v > alpha)
          v = -search(main, NODE_CUT, 1, depth - 1, -alpha - 1, -alpha, 1);
        if (v > alpha) v = -search(main, NODE_PV, 1, depth - 1, -beta, -alpha, 1);
      }
      unmakeMove(pos);
      if (stopRequested()) goto searchOver;
      if (i == 0) {
        if (v <= alpha || v >= beta) {
          alpha = -INFINITE_SCORE;
          beta = INFINITE_SCORE;
          continue;
        }
        alpha = v;
      } else {
        if (v >= beta) {
          alpha = -INFINITE_SCORE;
          beta = INFINITE_SCORE;
          i = 0;
          continue;
        }
        if (v > alpha) {
          alpha = v;
          for (int j = i; j > 0; --j) std::swap(moves[j], moves[j - 1]);
        }
      }
      ++i;
    }

    {
      // The iteration is complete.
      const Move best = moves[0];
      const int score = alpha;
      if (!inCheck && !(best & (MOVE_CAPTURE | MOVE_PROMOTION))) updateKillers(main, 0, best);
      ttStore(tt, root.key, 0, BOUND_EXACT, depth, score, rootStaticEval, best);
      if (limits.strength != 100) strengthDelay(depth);
      const int64_t time = elapsedMs();
      const uint64_t nodes = totalNodes();

      Move pv[PV_CAPACITY];
      const int pvLength = std::min(ttReadPv(tt, pos, pv, PV_CAPACITY), MAX_STATES - 1 - stackIndex(pos));
      bestOut = pvLength >= 1 ? pv[0] : best;
      ponderOut = pvLength >= 2 ? pv[1] : 0;

      char line[1024];
      int length = 0;
      append(line, sizeof line, length,
             "info depth %2d time %7" PRId64 " nodes %11" PRIu64 " nps %9" PRIu64 " tbhits %11" PRIu64 " ",
             depth, time, nodes, nodes * 1000 / uint64_t(time + 1), totalTbHits());
      appendScore(line, sizeof line, length, tbRootSolved && !isMateScore(score) ? tbRootScore : score);
      bool black = blackToMove(root);
      for (int k = 0; k < pvLength; ++k, black = !black) {
        char text[8];
        moveToText(pv[k], black, text);
        append(line, sizeof line, length, "%s ", text);
      }
      append(line, sizeof line, length, "\n");
      emit(line);

      lastSearch.bestMove = bestOut;
      lastSearch.ponderMove = ponderOut;
      lastSearch.score = score;
      lastSearch.depth = depth;
      lastSearch.pvLength = std::max(pvLength, 0);
      std::copy(pv, pv + lastSearch.pvLength, lastSearch.pv.begin());
      limits.hardDeadlineArmed.store(1, std::memory_order_relaxed);

      ++depth;
      if ((time + limits.startMs >= limits.softDeadlineMs && !limits.pondering.load()) ||
          depth >= limits.depthLimit)
        break;
      bumpCounter(main.nodes);
      if (depth <= 7 || isMateScore(score)) {
        alpha = -INFINITE_SCORE;
        beta = INFINITE_SCORE;
      } else {
        alpha = score - ASPIRATION_MARGIN;
        beta = score + ASPIRATION_MARGIN;
      }
    }
  }

searchOver:
  stopThreads();
  lastSearch.nodes = totalNodes();
  waitWhilePondering();
  finish(bestOut, ponderOut);
}

void prepareSearch() {
  SearchLimits& limits = searchLimits;
  // "ponder" or "infinite" without a clock: both deadlines are the start, so a "ponderhit" is late.
  const bool timed = limits.clockGiven || limits.pondering.load();
  const Deadlines deadlines = computeDeadlines(limits.startMs, limits.timeMs, limits.incrementMs, limits.movesToGo,
                                               limits.movesPlayed, limits.moveOverheadMs, timed);
  limits.softDeadlineMs = deadlines.softMs;
  limits.hardDeadlineMs = deadlines.hardMs;
  limits.singleRootMove.store(0);
  limits.hardDeadlineArmed.store(0);
}

}  // namespace

void runSearch() {
  prepareSearch();
  driver();
}

void startSearch() {
  waitForSearch();
  prepareSearch();
  searchThreads[0].handle = std::thread(driver);
}

void waitForSearch() {
  if (searchThreads[0].handle.joinable()) searchThreads[0].handle.join();
}

void stopSearch() {
  searchLimits.stopRequested.store(1);
  waitForSearch();
}

void ponderHit() {
  if (!searchThreads[0].handle.joinable()) {
    searchLimits.pondering.store(0);
    return;
  }
  if (platform::nowMs() > searchLimits.softDeadlineMs || searchLimits.singleRootMove.load() ||
      !searchLimits.clockGiven) {
    stopSearch();
    return;
  }
  searchLimits.pondering.store(0);
}

}  // namespace search

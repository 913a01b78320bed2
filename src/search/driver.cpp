#include "search/driver.h"

#include <algorithm>
#include <array>
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
#include "search/wdl.h"
#include "tablebase/tablebase.h"

namespace search {

using namespace board;

SearchResult lastSearch;

namespace {

constexpr int ASPIRATION_MARGIN = 120;
constexpr int PV_CAPACITY = 64;

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

// The score, then with UCI_ShowWDL the side to move's chances: certain for a mate or a result the
// tablebases prove (`proven`), else the model's at the game's move number.
void appendScore(char* line, int size, int& length, int score, bool proven, int moveNumber) {
  if (!isMateScore(score))
    append(line, size, length, "score cp %4d ", score / 4);
  else
    append(line, size, length, "score mate %2d ", score >= 1 ? (MATE + 1 - score) / 2 : (-MATE - score) / 2);
  if (searchLimits.showWdl) {
    WdlChances chances;
    if (isMateScore(score) || proven)
      chances = score > 0 ? WdlChances{1000, 0, 0} : score < 0 ? WdlChances{0, 0, 1000} : WdlChances{};
    else
      chances = wdlChances(score, moveNumber);
    append(line, size, length, "wdl %d %d %d ", chances.win, chances.draw, chances.loss);
  }
  append(line, size, length, "pv ");
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
  main.evalContext.levelNoise = limits.levelNoise;
  main.evalContext.levelSeed = root.key * 0xD6E8FEB86659FD93ULL;
  main.nodes.store(0, std::memory_order_relaxed);
  main.tbHits.store(0, std::memory_order_relaxed);
  main.nextClockCheck = limits.levelNodes ? LEVEL_CHECK_INTERVAL : CLOCK_CHECK_INTERVAL;
  limits.hardDeadlineArmed.store(0);
  lastSearch = SearchResult{};

  // No legal move at the root: report mate or stalemate and play the null move.
  if (limits.rootMoveCount <= 0 || tt.entries == nullptr) {
    if (limits.rootMoveCount <= 0 && !limits.showWdl)
      emit(inCheck ? "info depth 0 score mate 0\n" : "info depth 0 score cp 0\n");
    else if (limits.rootMoveCount <= 0)
      emit(inCheck ? "info depth 0 score mate 0 wdl 0 0 1000\n" : "info depth 0 score cp 0 wdl 0 1000 0\n");
    waitWhilePondering();
    finish(limits.rootMoveCount > 0 ? moves[0] : 0, 0);
    return;
  }

  // Opening book (not for a mate search or in analysis mode, which ask for analysis, nor in a
  // Chess960 game, whose castling the book's keys do not know).
  if (book::bookIsOpen() && !limits.pondering.load() && limits.mateLimit == 0 && !limits.analyseMode &&
      !board::chess960) {
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
    if (tb::rootProbe(pos, moves.data(), limits.rootMoveCount, tbRootScore, limits.syzygy50MoveRule)) {
      tbRootSolved = true;
      limits.tbProbeLimit = 0;
    } else {
      main.tbHits.store(0, std::memory_order_relaxed);
    }
  }
  // A tablebase win in the tree scores like a long mate; a mate search wants real mates only.
  if (limits.mateLimit > 0) limits.tbProbeLimit = 0;

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
  // MultiPV: line k is the best of moves[k..count-1], so lines 0..k-1 stay excluded from it; each line
  // keeps its score of the previous iteration for its own aspiration window.
  const int lineCount = std::clamp(limits.multiPv, 1, std::min(count, MAX_MULTI_PV));
  std::array<int, MAX_MULTI_PV> lineScores{};

  // One line: the root move loop over moves[first..count-1] with the window (a, b), moves[first]
  // leading. A failed pass restarts from `first` with the full window. On success the line's best
  // move stands at `first` and `a` holds its score; false when a stop came (the pass is discarded).
  auto searchLine = [&](int first, int& a, int& b) {
    int i = first;
    while (i < count) {
      const Move move = moves[i];
      const int rank = i - first;
      int reduction = 0;
      if (rank >= 1 && !inCheck && !(move & (MOVE_CHECK | MOVE_CAPTURE | MOVE_PROMOTION | MOVE_CASTLING)) &&
          !isPassedPawnPush(root, move))
        reduction = 13 * platform::floorLog2(uint64_t(rank)) * platform::floorLog2(uint64_t(depth)) / 64 + 1;
      makeMove(pos, move);
      int v;
      if (rank == 0) {
        v = -search(main, NODE_PV, 1, depth - 1, -b, -a, 1);
      } else {
        v = -search(main, NODE_CUT, 1, depth - 1 - reduction, -a - 1, -a, 1);
        if (reduction > 0 && depth - 1 >= 1 && v > a) v = -search(main, NODE_CUT, 1, depth - 1, -a - 1, -a, 1);
        if (v > a) v = -search(main, NODE_PV, 1, depth - 1, -b, -a, 1);
      }
      unmakeMove(pos);
      if (stopRequested()) return false;
      if (rank == 0) {
        if (v <= a || v >= b) {
          a = -INFINITE_SCORE;
          b = INFINITE_SCORE;
          continue;
        }
        a = v;
      } else {
        if (v >= b) {
          a = -INFINITE_SCORE;
          b = INFINITE_SCORE;
          i = first;
          continue;
        }
        if (v > a) {
          a = v;
          for (int j = i; j > first; --j) std::swap(moves[j], moves[j - 1]);
        }
      }
      ++i;
    }
    return true;
  };

  for (;;) {
    if (!searchLine(0, alpha, beta)) goto searchOver;
    lineScores[0] = alpha;
    for (int k = 1; k < lineCount; ++k) {
      int lineAlpha = -INFINITE_SCORE;
      int lineBeta = INFINITE_SCORE;
      if (depth > 7 && !isMateScore(lineScores[size_t(k)])) {
        lineAlpha = lineScores[size_t(k)] - ASPIRATION_MARGIN;
        lineBeta = lineScores[size_t(k)] + ASPIRATION_MARGIN;
      }
      if (!searchLine(k, lineAlpha, lineBeta)) goto searchOver;
      lineScores[size_t(k)] = lineAlpha;
    }
    // Search instability may score a later line above an earlier one: the lines are shown best first.
    for (int k = 1; k < lineCount; ++k)
      for (int j = k; j > 0 && lineScores[size_t(j)] > lineScores[size_t(j - 1)]; --j) {
        std::swap(lineScores[size_t(j)], lineScores[size_t(j - 1)]);
        std::swap(moves[j], moves[j - 1]);
      }

    {
      // The iteration is complete.
      const Move best = moves[0];
      const int score = lineScores[0];
      if (!inCheck && !(best & (MOVE_CAPTURE | MOVE_PROMOTION))) updateKillers(main, 0, best);
      ttStore(tt, root.key, 0, BOUND_EXACT, depth, score, rootStaticEval, best);
      if (limits.strength != 100) strengthDelay(depth);
      const int64_t time = elapsedMs();
      const uint64_t nodes = totalNodes();

      Move pv[PV_CAPACITY];
      const int pvLength = std::min(ttReadPv(tt, pos, pv, PV_CAPACITY), MAX_STATES - 1 - stackIndex(pos));
      bestOut = pvLength >= 1 ? pv[0] : best;
      ponderOut = pvLength >= 2 ? pv[1] : 0;

      for (int k = 0; k < lineCount; ++k) {
        Move linePv[PV_CAPACITY];
        const Move* shown = pv;
        int shownLength = pvLength;
        if (k > 0) {
          // The line's move, then the exact chain its search left in the table.
          linePv[0] = moves[k];
          shownLength = 1;
          makeMove(pos, moves[k]);
          if (!(currentState(pos).flags & FLAG_REPETITION))
            shownLength += std::min(ttReadPv(tt, pos, linePv + 1, PV_CAPACITY - 1),
                                    MAX_STATES - 1 - stackIndex(pos));
          unmakeMove(pos);
          shown = linePv;
        }
        const int lineScore = lineScores[size_t(k)];
        char line[1024];
        int length = 0;
        append(line, sizeof line, length, "info depth %2d ", depth);
        if (limits.multiPv > 1) append(line, sizeof line, length, "multipv %d ", k + 1);
        append(line, sizeof line, length,
               "time %7" PRId64 " nodes %11" PRIu64 " nps %9" PRIu64 " tbhits %11" PRIu64 " ", time, nodes,
               nodes * 1000 / uint64_t(time + 1), totalTbHits());
        const bool proven = tbRootSolved && !isMateScore(lineScore);
        appendScore(line, sizeof line, length, proven ? tbRootScore : lineScore, proven, limits.moveNumber);
        bool black = blackToMove(root);
        for (int m = 0; m < shownLength; ++m, black = !black) {
          char text[8];
          moveToText(shown[m], black, text);
          append(line, sizeof line, length, "%s ", text);
        }
        append(line, sizeof line, length, "\n");
        emit(line);
      }

      lastSearch.bestMove = bestOut;
      lastSearch.ponderMove = ponderOut;
      lastSearch.score = score;
      lastSearch.depth = depth;
      lastSearch.pvLength = std::max(pvLength, 0);
      std::copy(pv, pv + lastSearch.pvLength, lastSearch.pv.begin());
      limits.hardDeadlineArmed.store(1, std::memory_order_relaxed);

      // "go mate N": a mate in N moves or fewer for the side to move ends the search.
      const bool mateFound = limits.mateLimit > 0 && score > MATE_SCORE_LIMIT &&
                             (MATE + 1 - score) / 2 <= limits.mateLimit;
      ++depth;
      if ((time + limits.startMs >= limits.softDeadlineMs && !limits.pondering.load()) ||
          depth >= limits.depthLimit || mateFound || (limits.levelNodes && nodes >= limits.levelNodes))
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

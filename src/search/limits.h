#pragma once
// SearchLimits: one "go" command's parameters, the root move list, the deadlines and the flags shared
// by the command loop and the search threads.
#include <array>
#include <atomic>
#include <cstdint>

#include "board/types.h"

namespace search {

constexpr int64_t NO_DEADLINE = INT64_MAX;
// The most lines the MultiPV option asks for.
constexpr int MAX_MULTI_PV = 64;

struct SearchLimits {
  int32_t movesToGo = 0;
  int32_t timeMs = 0;
  int32_t incrementMs = 0;
  int32_t depthLimit = 64;
  uint64_t nodeLimit = 0;  // "go nodes": stop once all threads together have searched this many; 0 = none
  int32_t mateLimit = 0;   // "go mate": stop once a mate in this many moves or fewer is found; 0 = none
  bool clockGiven = false;  // any of wtime/btime/winc/binc/movestogo/movetime came
  std::array<board::Move, board::MAX_MOVES> rootMoves{};
  int rootMoveCount = 0;
  int32_t movesPlayed = 0;
  int32_t moveNumber = 1;  // the game's move number at the root (the FEN's plus the moves played)

  int64_t startMs = 0;  // read when "go" arrives
  int64_t softDeadlineMs = 0;
  int64_t hardDeadlineMs = 0;

  std::atomic<int> pondering{0};
  std::atomic<int> stopRequested{0};
  std::atomic<int> singleRootMove{0};

  // Option values the search reads, copied once per "go" so that "setoption" during a search
  // never affects it.
  int drawScore = 0;  // internal units
  int strength = 100;
  int threads = 1;
  int multiPv = 1;  // lines reported per iteration (MultiPV)
  int minSplitDepth = 3;
  int syzygyProbeLimit = 6;
  int syzygyProbeDepth = 1;       // the tree probes only at nodes with at least this depth left
  bool syzygy50MoveRule = true;   // off: cursed wins and blessed losses count as wins and losses
  bool showWdl = false;           // "wdl W D L" after every score
  bool analyseMode = false;       // analysis: no book move
  bool infinite = false;          // "go infinite"
  // UCI_LimitStrength: the search stops after levelNodes nodes (0 = no level) and the evaluation
  // misjudges each position by up to levelNoise.
  uint64_t levelNodes = 0;
  int levelNoise = 0;
  int moveOverheadMs = 0;
  bool alwaysBestBookMove = true;
  bool logEnabled = false;

  // Set by the driver for one search.
  int tbProbeLimit = 0;  // largest piece count probed in the tree; 0 = no probes
  // The hard deadline is applied only once the first iteration has completed, so that every search
  // has a move to play.
  std::atomic<int> hardDeadlineArmed{0};
  // Tools and tests: no "info"/"bestmove" output (the result is read from lastSearch).
  bool silent = false;
};

extern SearchLimits searchLimits;

}  // namespace search

#pragma once
// Engine options: the EngineSettings record, the "uci" option lines and the "setoption" parser.
#include <array>
#include <cstdint>

#include "search/strength.h"

namespace uci {

constexpr int OPTION_TEXT_SIZE = 256;  // string options keep at most 255 characters
// Milliseconds a move's clock loses beyond the search itself (pipes, the GUI, a busy machine's scheduling).
constexpr int DEFAULT_MOVE_OVERHEAD_MS = 50;

struct EngineSettings {
  int32_t hashMb = 256;
  int32_t drawScore = 0;  // centipawns * 4
  int32_t ownBook = 0;
  std::array<char, OPTION_TEXT_SIZE> bookFile{"./book.bin"};
  int32_t alwaysBestBookMove = 1;
  int32_t strength = 100;
  int32_t logEnabled = 0;
  int32_t threads = 1;
  std::array<char, OPTION_TEXT_SIZE> syzygyPath{"./syzygy"};
  int32_t syzygyProbeLimit = 6;
  int32_t moveOverheadMs = DEFAULT_MOVE_OVERHEAD_MS;  // kept off the clock for the GUI's and the system's delays
  int32_t multiPv = 1;  // MultiPV: lines reported per iteration
  int32_t chess960 = 0;  // UCI_Chess960: castling written as the king taking its rook, no book
  int32_t showWdl = 0;           // UCI_ShowWDL: "wdl W D L" after every score
  int32_t syzygy50MoveRule = 1;  // off: a win or loss the fifty-move rule spoils still counts as one
  int32_t syzygyProbeDepth = 1;  // the least depth left at which the tree probes the tablebases
  int32_t analyseMode = 0;       // UCI_AnalyseMode: the GUI analyses, so the book stays closed
  int32_t limitStrength = 0;     // UCI_LimitStrength: play at the level UCI_Elo names
  int32_t uciElo = search::UCI_ELO_DEFAULT;
};

extern EngineSettings engineSettings;
// 3 + floor(log2(threads)): the parallel search splits only nodes of at least this depth.
extern int32_t minSplitDepth;

constexpr int MAX_HASH_MB = 65536;
constexpr int MAX_THREADS_OPTION = 64;
constexpr int MAX_MOVE_OVERHEAD_MS = 5000;
constexpr int MAX_SYZYGY_PROBE_DEPTH = 100;

// Restores the defaults (process start).
void resetSettings(EngineSettings& settings);

// Prints the "option" lines (without flushing).
void printOptionLines(const EngineSettings& settings);

// Handles a line that begins with "setoption name " (newline included or not). Values outside the
// advertised range are clamped into it; prints nothing. Returns true for the button "Clear Hash"
// (the one name with a blank), which stores nothing: the caller clears the tables.
bool setOption(EngineSettings& settings, const char* line);

// Reads a decimal integer like the spin parser: leading blanks and a sign allowed, stops at the
// first non-digit, no digits give 0, saturates instead of overflowing.
int64_t parseInteger(const char* text);

}  // namespace uci

// tesmar probe <syzygy-path> <FEN>: the tablebase values of a position and the root moves that the
// DTZ filter keeps; each value is printed when its probe succeeds, and a line says what is missing.
#include <cstdio>
#include <string>

#include "board/fen.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "tablebase/tablebase.h"
#include "uci/tool_commands.h"

namespace uci {

namespace {
board::Position probePosition;
}

int runProbeTool(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: tesmar probe <syzygy-path> <FEN>\n");
    return 2;
  }
  // The FEN may arrive as one word or as its six fields.
  std::string fen = argv[1];
  for (int i = 2; i < argc; ++i) fen += std::string(" ") + argv[i];
  board::Position& pos = probePosition;
  if (!board::setupFromFen(pos, fen)) {
    std::printf("invalid FEN\n");
    return 1;
  }
  tb::initTablebases(argv[0], false);

  int wdlSuccess = 0, dtzSuccess = 0;
  const int pieces = platform::popcount(board::occupied(board::currentState(pos)));
  const int wdl = pieces <= tb::largestTable() ? tb::probeWdl(pos, wdlSuccess) : 0;
  const int dtz = wdlSuccess ? tb::probeDtz(pos, dtzSuccess) : 0;
  if (!wdlSuccess) {
    std::printf("position not in the tablebases\n");
    return 1;
  }
  std::printf("wdl %d\n", wdl);
  if (dtzSuccess)
    std::printf("dtz %d\n", dtz);
  else
    std::printf("dtz not available: its table is missing\n");
  // Scoring the root moves may need tables of the positions after them (a promotion, a capture).
  board::Move moves[board::MAX_MOVES];
  int count = int(board::generateLegalMoves(pos, moves) - moves);
  int score = 0;
  if (!dtzSuccess || !tb::rootProbe(pos, moves, count, score)) {
    std::printf("moves not available: a table they need is missing\n");
    return 0;
  }
  std::printf("moves");
  const bool black = board::blackToMove(board::currentState(pos));
  for (int i = 0; i < count; ++i) {
    char text[8];
    board::moveToText(moves[i], black, text);
    std::printf(" %s", text);
  }
  std::printf("\n");
  return 0;
}

}  // namespace uci

// tesmar probe <syzygy-path> <FEN>: the tablebase values of a position and the root moves that the
// DTZ filter keeps.
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
  if (!wdlSuccess || !dtzSuccess) {
    std::printf("position not in the tablebases\n");
    return 1;
  }
  board::Move moves[board::MAX_MOVES];
  int count = int(board::generateLegalMoves(pos, moves) - moves);
  int score = 0;
  if (!tb::rootProbe(pos, moves, count, score)) {
    std::printf("position not in the tablebases\n");
    return 1;
  }
  std::printf("wdl %d\ndtz %d\nmoves", wdl, dtz);
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

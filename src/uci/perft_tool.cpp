// tesmar perft <depth> [FEN]: leaf counts per root move, total and speed.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "platform/clock.h"
#include "uci/tool_commands.h"

namespace uci {

namespace {

board::Position perftPosition;

}  // namespace

int runPerftTool(int argc, char** argv) {
  if (argc < 1) {
    std::fprintf(stderr, "usage: tesmar perft <depth> [FEN]\n");
    return 2;
  }
  char* end = nullptr;
  const long depth = std::strtol(argv[0], &end, 10);
  if (!end || *end != 0 || depth < 0 || depth > 20) {
    std::fprintf(stderr, "tesmar perft: depth must be a number from 0 to 20\n");
    return 2;
  }
  std::string fen = board::START_FEN;
  if (argc > 1) {
    fen.clear();
    for (int i = 1; i < argc; ++i) {
      if (i > 1) fen += ' ';
      fen += argv[i];
    }
  }
  board::Position& pos = perftPosition;
  if (!board::setupFromFen(pos, fen)) {
    std::fprintf(stderr, "tesmar perft: invalid FEN\n");
    return 2;
  }

  const int64_t start = platform::nowMs();
  uint64_t total = 0;
  if (depth == 0) {
    total = 1;
  } else {
    board::Move moves[board::MAX_MOVES];
    board::Move* last = board::generateLegalMoves(pos, moves);
    const bool black = board::blackToMove(board::currentState(pos));
    for (board::Move* m = moves; m != last; ++m) {
      board::makeMove(pos, *m);
      const uint64_t nodes = board::perft(pos, int(depth) - 1);
      board::unmakeMove(pos);
      char text[6];
      board::moveToText(*m, black, text);
      std::printf("%s: %llu\n", text, static_cast<unsigned long long>(nodes));
      total += nodes;
    }
  }
  const int64_t elapsedMs = platform::nowMs() - start;
  std::printf("Nodes searched: %llu\n", static_cast<unsigned long long>(total));
  std::printf("Nodes/second: %llu\n",
              static_cast<unsigned long long>(total * 1000 / uint64_t(elapsedMs > 0 ? elapsedMs : 1)));
  std::fflush(stdout);
  return 0;
}

}  // namespace uci

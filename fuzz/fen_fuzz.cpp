// Fuzz target: the FEN reader, then every legal move of an accepted position made and taken back,
// with the incremental keys checked against a full recomputation.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "uci/command_loop.h"

namespace {
board::Position* position = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  uci::initEngine();
  position = new board::Position;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  board::Position& pos = *position;
  const std::string_view fen(reinterpret_cast<const char*>(data), size);
  if (!board::setupFromFen(pos, fen)) return 0;
  board::Move moves[board::MAX_MOVES];
  board::Move* end = board::generateLegalMoves(pos, moves);
  for (board::Move* m = moves; m != end; ++m) {
    board::makeMove(pos, *m);
    board::BoardState check = board::currentState(pos);
    board::computeKeys(check);
    const board::BoardState& made = board::currentState(pos);
    if (check.key != made.key || check.pawnKey != made.pawnKey || check.psqMg != made.psqMg ||
        check.psqEg != made.psqEg)
      std::abort();
    board::Move replies[board::MAX_MOVES];
    board::generateLegalMoves(pos, replies);
    board::unmakeMove(pos);
  }
  return 0;
}

// Fuzz target: the Polyglot book reader on arbitrary file bytes, probed from a few positions.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/position.h"
#include "book/book.h"
#include "uci/command_loop.h"

namespace {
board::Position* position = nullptr;
std::string bookPath;

const char* const kFens[] = {
    board::START_FEN,
    "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
};
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  uci::initEngine();
  position = new board::Position;
  bookPath = "/tmp/tesmar-book-fuzz-" + std::to_string(getpid()) + ".bin";
  std::atexit([] { std::remove(bookPath.c_str()); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::FILE* f = std::fopen(bookPath.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  if (!book::openBook(bookPath.c_str())) return 0;
  for (const char* fen : kFens) {
    if (!board::setupFromFen(*position, fen)) std::abort();
    board::Move moves[board::MAX_MOVES];
    const int count = int(board::generateLegalMoves(*position, moves) - moves);
    const board::Move move = book::bookProbe(*position, size & 1, moves, count);
    if (move) {
      bool found = false;
      for (int i = 0; i < count; ++i) found |= board::withoutCheck(moves[i]) == board::withoutCheck(move);
      if (!found) std::abort();  // a book move must be one of the legal root moves
    }
  }
  book::closeBook();
  return 0;
}

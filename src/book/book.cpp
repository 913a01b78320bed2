#include "book/book.h"

#include <atomic>

#include "board/movegen.h"
#include "book/polyglot_random.h"
#include "platform/clock.h"
#include "platform/read_only_file.h"

namespace book {

namespace {

// The open book file, or platform::NO_FILE.
std::atomic<platform::FileHandle> bookHandle{platform::NO_FILE};

uint64_t readBigEndian(const unsigned char* bytes, int count) {
  uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = (value << 8) | bytes[i];
  return value;
}

BookEntry decodeEntry(const unsigned char* bytes) {
  BookEntry entry{};
  entry.key = readBigEndian(bytes, 8);
  entry.move = uint16_t(readBigEndian(bytes + 8, 2));
  entry.weight = uint16_t(readBigEndian(bytes + 10, 2));
  entry.learn = uint32_t(readBigEndian(bytes + 12, 4));
  return entry;
}

bool readEntry(platform::FileHandle file, int64_t index, BookEntry& entry) {
  unsigned char bytes[BOOK_ENTRY_BYTES];
  if (!platform::readAt(file, index * BOOK_ENTRY_BYTES, bytes, BOOK_ENTRY_BYTES)) return false;
  entry = decodeEntry(bytes);
  return true;
}

// splitmix64: every output bit, the low ones included, is uniform.
struct BookRandom {
  uint64_t state;
  uint64_t next() {
    uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
};

bool sameSquaresAndPromotion(board::Move a, board::Move b) {
  return board::moveFrom(a) == board::moveFrom(b) && board::moveTo(a) == board::moveTo(b) &&
         board::movePromotion(a) == board::movePromotion(b);
}

// The legal move of the root that the bare book word stands for, when the root move list allows it;
// 0 otherwise.
board::Move matchLegalMove(board::Move bare, const board::Move* legal, int legalCount,
                           const board::Move* rootMoves, int rootMoveCount) {
  if (bare == 0) return 0;
  for (int i = 0; i < legalCount; ++i) {
    if (!sameSquaresAndPromotion(legal[i], bare)) continue;
    if (rootMoves == nullptr) return legal[i];
    for (int j = 0; j < rootMoveCount; ++j)
      if (sameSquaresAndPromotion(rootMoves[j], bare)) return legal[i];
    return 0;
  }
  return 0;
}

// Index of the first record whose key is not below key (N >= 1), or -1 on a read failure.
int64_t lowerBound(platform::FileHandle file, int64_t count, uint64_t key) {
  int64_t lo = 0;
  int64_t hi = count - 1;
  do {
    const int64_t mid = lo + (hi - lo) / 2;
    BookEntry entry{};
    if (!readEntry(file, mid, entry)) return -1;
    if (entry.key >= key)
      hi = mid;
    else
      lo = mid + 1;
  } while (lo < hi);
  return lo;
}

}  // namespace

bool openBook(const char* path) {
  closeBook();
  const platform::FileHandle file = platform::openReadOnly(path);
  if (file == platform::NO_FILE) return false;
  bookHandle.store(file);
  return true;
}

void closeBook() {
  const platform::FileHandle file = bookHandle.exchange(platform::NO_FILE);
  platform::closeFile(file);
}

bool bookIsOpen() { return bookHandle.load(std::memory_order_relaxed) != platform::NO_FILE; }

uint64_t polyglotKey(const board::BoardState& state) {
  using namespace board;
  const bool black = blackToMove(state);
  const int flip = black ? 56 : 0;
  uint64_t key = 0;

  // Pieces: the side to move's are White's when White is to move.
  Bitboard occ = occupied(state);
  while (occ) {
    const int square = platform::popLsb(occ);
    const int type = pieceOn(state, square);
    const bool own = (state.bb[0] >> square) & 1;
    const int white = (own != black) ? 1 : 0;
    key ^= polyglotRandom64[64 * (2 * (type - 1) + white) + (square ^ flip)];
  }

  // Castling: the low nibble holds the side to move's rights.
  const uint8_t whiteRights = black ? uint8_t(state.castling >> 4) : uint8_t(state.castling & 15);
  const uint8_t blackRights = black ? uint8_t(state.castling & 15) : uint8_t(state.castling >> 4);
  if (whiteRights & CASTLE_OWN_KING) key ^= polyglotRandom64[POLYGLOT_CASTLE_WHITE_KING];
  if (whiteRights & CASTLE_OWN_QUEEN) key ^= polyglotRandom64[POLYGLOT_CASTLE_WHITE_QUEEN];
  if (blackRights & CASTLE_OWN_KING) key ^= polyglotRandom64[POLYGLOT_CASTLE_BLACK_KING];
  if (blackRights & CASTLE_OWN_QUEEN) key ^= polyglotRandom64[POLYGLOT_CASTLE_BLACK_QUEEN];

  // En passant: the file counts only when a pawn of the side to move stands beside the pawn that
  // has just advanced two squares (fifth rank in the side to move's view).
  if (state.epFile < 8) {
    const int file = state.epFile;
    const Bitboard allPawns = pawns(state);
    const Bitboard ownPawns = allPawns & state.bb[0];
    const Bitboard pushed = allPawns & ~state.bb[0] & bit(32 + file);
    Bitboard beside = 0;
    if (file > 0) beside |= bit(32 + file - 1);
    if (file < 7) beside |= bit(32 + file + 1);
    if (pushed && (ownPawns & beside)) key ^= polyglotRandom64[POLYGLOT_EP_FILE + file];
  }

  if (!black) key ^= polyglotRandom64[POLYGLOT_WHITE_TO_MOVE];
  return key;
}

uint64_t polyglotKey(board::Position& pos) { return polyglotKey(board::currentState(pos)); }

board::Move bookMoveToMove(uint16_t bookMove, const board::BoardState& state) {
  using namespace board;
  if ((bookMove & 0x7FFF) == 0) return 0;
  const int flip = blackToMove(state) ? 56 : 0;
  const int from = ((bookMove >> 6) & 63) ^ flip;
  int to = (bookMove & 63) ^ flip;
  const int promotion = (bookMove >> 12) & 7;
  if (promotion > 4) return 0;  // no such piece: a foreign or corrupt record
  if (promotion == 0 && from == 4) {
    if (to == 7 && (state.castling & CASTLE_OWN_KING)) to = 6;
    if (to == 0 && (state.castling & CASTLE_OWN_QUEEN)) to = 2;
  }
  return makeMoveWord(0, from, to, 0, promotion ? promotion + 1 : 0);
}

board::Move bookProbeSeeded(board::Position& pos, bool alwaysBestBookMove,
                            const board::Move* rootMoves, int rootMoveCount, uint64_t seed) {
  using namespace board;
  const platform::FileHandle file = bookHandle.load(std::memory_order_relaxed);
  if (file == platform::NO_FILE) return 0;
  const int64_t size = platform::fileSize(file);
  const int64_t count = size > 0 ? size / BOOK_ENTRY_BYTES : 0;
  if (count == 0) return 0;

  const BoardState& root = currentState(pos);
  const uint64_t key = polyglotKey(root);
  const int64_t lo = lowerBound(file, count, key);
  if (lo < 0) return 0;

  // The first records of the run, read at once (clamped to the end of the file).
  const int64_t available = count - lo < BOOK_CANDIDATES ? count - lo : BOOK_CANDIDATES;
  unsigned char bytes[BOOK_CANDIDATES * BOOK_ENTRY_BYTES];
  if (!platform::readAt(file, lo * BOOK_ENTRY_BYTES, bytes, available * BOOK_ENTRY_BYTES)) return 0;
  const BookEntry first = decodeEntry(bytes);
  if (first.key != key) return 0;

  Move legal[MAX_MOVES];
  const int legalCount = int(generateLegalMoves(pos, legal) - legal);

  // Candidate i of the run: its key is the position's, its weight qualifies, its move is playable.
  Move candidates[BOOK_CANDIDATES] = {};
  bool anyCandidate = false;
  for (int i = 0; i < available; ++i) {
    const BookEntry entry = decodeEntry(bytes + i * BOOK_ENTRY_BYTES);
    if (entry.key != key) break;
    if (alwaysBestBookMove && entry.weight != first.weight) continue;
    candidates[i] = matchLegalMove(bookMoveToMove(entry.move, root), legal, legalCount, rootMoves,
                                   rootMoveCount);
    anyCandidate |= candidates[i] != 0;
  }
  if (!anyCandidate) return 0;

  // Draw indices 0..15 from the generator's low bits until one names a candidate: uniform among them.
  // The bound is never reached in practice; it only keeps the loop finite by construction.
  BookRandom random{seed};
  for (int draw = 0; draw < 4096; ++draw) {
    const Move chosen = candidates[random.next() & (BOOK_CANDIDATES - 1)];
    if (chosen != 0) return chosen;
  }
  for (const Move candidate : candidates)
    if (candidate != 0) return candidate;
  return 0;
}

board::Move bookProbe(board::Position& pos, bool alwaysBestBookMove, const board::Move* rootMoves,
                      int rootMoveCount) {
  return bookProbeSeeded(pos, alwaysBestBookMove, rootMoves, rootMoveCount,
                         uint64_t(platform::nowMicroseconds()));
}

}  // namespace book

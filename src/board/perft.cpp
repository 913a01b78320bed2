#include "board/perft.h"

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "board/queries_inline.h"

namespace board {

namespace {

// Pseudo-legal moves of the record (evasions when in check), quiet ones with their check marks.
ScoredMove* generateAll(const Position& pos, ScoredMove* list) {
  if (isInCheck(currentState(pos))) return generateEvasions(pos, list);
  return generateQuiets(pos, generateCaptures(pos, list));
}

}  // namespace

int countLegalMoves(Position& pos) {
  const BoardState& s = currentState(pos);
  if (isInCheck(s)) {
    ScoredMove list[MAX_MOVES];
    ScoredMove* last = generateEvasions(pos, list);
    int count = 0;
    for (ScoredMove* m = list; m != last; ++m) count += leavesKingAttackedInline(s, m->move) == 0;
    return count;
  }

  const Bitboard own = s.bb[0];
  const Bitboard occ = occupied(s);
  const Bitboard opp = occ ^ own;
  const Bitboard empty = ~occ;
  const Bitboard notOwn = ~own;
  const int king = ownKingSquare(s);

  // Own pieces pinned to the king, each with the line it may still move along (up to and
  // including the pinner).
  Bitboard pinned = 0;
  Bitboard pinLines[64];
  {
    const Bitboard straightPinners =
        rookAttacks(king, occ ^ (rookAttacks(king, occ) & own)) & opp & straightMovers(s);
    const Bitboard diagonalPinners =
        bishopAttacks(king, occ ^ (bishopAttacks(king, occ) & own)) & opp & diagonalMovers(s);
    for (Bitboard p = straightPinners | diagonalPinners; p;) {
      const Bitboard line = lineBetween(king, platform::popLsb(p));
      const Bitboard blocker = line & own;
      if (blocker) {
        pinned |= blocker;
        pinLines[platform::lsb(blocker)] = line;
      }
    }
  }

  int count = 0;
  for (Bitboard p = knights(s) & own & ~pinned; p;) count += platform::popcount(knightAttacks[platform::popLsb(p)] & notOwn);
  for (Bitboard p = diagonalMovers(s) & own; p;) {
    const int from = platform::popLsb(p);
    const Bitboard allowed = (pinned >> from) & 1 ? pinLines[from] : notOwn;
    count += platform::popcount(bishopAttacks(from, occ) & notOwn & allowed);
  }
  for (Bitboard p = straightMovers(s) & own; p;) {
    const int from = platform::popLsb(p);
    const Bitboard allowed = (pinned >> from) & 1 ? pinLines[from] : notOwn;
    count += platform::popcount(rookAttacks(from, occ) & notOwn & allowed);
  }

  const Bitboard ownPawns = pawns(s) & own;
  const Bitboard freePawns = ownPawns & ~pinned;
  {
    const Bitboard single = (freePawns << 8) & empty;
    const Bitboard doubles = ((single & RANK_3) << 8) & empty;
    const Bitboard captures = (freePawns << 9) & opp & NOT_FILE_A;
    const Bitboard capturesLeft = (freePawns << 7) & opp & NOT_FILE_H;
    count += platform::popcount(single & ~RANK_8) + 4 * platform::popcount(single & RANK_8) +
             platform::popcount(doubles) + platform::popcount(captures & ~RANK_8) +
             4 * platform::popcount(captures & RANK_8) + platform::popcount(capturesLeft & ~RANK_8) +
             4 * platform::popcount(capturesLeft & RANK_8);
  }
  for (Bitboard p = ownPawns & pinned; p;) {
    const int from = platform::popLsb(p);
    const Bitboard line = pinLines[from];
    const Bitboard single = (bit(from) << 8) & empty;
    const Bitboard targets = ((single | ((single & RANK_3) << 8)) & empty) | (pawnAttacksUp(bit(from)) & opp);
    const Bitboard legal = targets & line;
    count += platform::popcount(legal & ~RANK_8) + 4 * platform::popcount(legal & RANK_8);
  }
  if (s.epFile != NO_EP_FILE) {
    for (Bitboard p = ownPawns & epCapturers[s.epFile]; p;) {
      const Move move = makeMoveWord(PAWN, platform::popLsb(p), 40 + s.epFile, PAWN, 0, MOVE_CAPTURE | MOVE_EN_PASSANT);
      count += leavesKingAttackedInline(s, move) == 0;
    }
  }

  const Bitboard withoutKing = occ ^ bit(king);
  for (Bitboard t = kingAttacks[king] & notOwn; t;) count += attackersOf(s, platform::popLsb(t), withoutKing) == 0;
  if (s.castling & (CASTLE_OWN_KING | CASTLE_OWN_QUEEN)) {
    if (standardCastling) {
      // The common case with fixed squares, as in the generators.
      count += !(occ & 0x60) && !attackersOf(s, 5, occ) && !attackersOf(s, 6, occ) && (s.castling & CASTLE_OWN_KING);
      count += !(occ & 0x0E) && !attackersOf(s, 2, occ) && !attackersOf(s, 3, occ) && (s.castling & CASTLE_OWN_QUEEN);
    } else {
      count += castlingAllowed(s, KING_SIDE) + castlingAllowed(s, QUEEN_SIDE);
    }
  }
  return count;
}

uint64_t perft(Position& pos, int depth) {
  if (depth <= 0) return 1;
  if (depth == 1) return uint64_t(countLegalMoves(pos));
  ScoredMove list[MAX_MOVES];
  ScoredMove* last = generateAll(pos, list);
  uint64_t nodes = 0;
  for (ScoredMove* m = list; m != last; ++m) {
    Move move = m->move;
    if (leavesKingAttackedInline(currentState(pos), move)) continue;
    if (move & (MOVE_CAPTURE | MOVE_PROMOTION)) {
      markCheckCapture(pos, move);
    } else if (!(move & MOVE_CHECK)) {
      markCheckQuiet(pos, move);
    }
    makeMove(pos, move);
    nodes += perft(pos, depth - 1);
    unmakeMove(pos);
  }
  return nodes;
}

}  // namespace board

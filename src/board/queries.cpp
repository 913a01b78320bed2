#include "board/queries.h"

#include "board/attacks.h"
#include "board/queries_inline.h"

namespace board {

Bitboard leavesKingAttacked(const Position& pos, Move move) {
  return leavesKingAttackedInline(currentState(pos), move);
}

void markCheckCapture(const Position& pos, Move& move) {
  if (givesCheck(currentState(pos), move)) move |= MOVE_CHECK;
}

void markCheckQuiet(const Position& pos, Move& move) {
  if (givesCheck(currentState(pos), move)) move |= MOVE_CHECK;
}

bool chess960CastlingAllowed(const BoardState& s, int side) {
  const CastlingRule& rule = castlingRule(s, side);
  const Bitboard occ = occupied(s);
  if (occ & rule.mustBeEmpty) return false;
  // The attack test written out rather than through attackersOf, which the generators want inlined.
  const Bitboard withoutRook = occ ^ bit(rule.rookSquare);
  const Bitboard opp = opponentPieces(s);
  for (Bitboard path = rule.kingPath; path;) {
    const int square = platform::popLsb(path);
    const Bitboard near = (knights(s) & knightAttacks[square]) | (kings(s) & kingAttacks[square]) |
                          (pawns(s) & pawnAttacksUp(bit(square)));
    if (opp & (near | (straightMovers(s) & rookAttacks(square, withoutRook)) |
               (diagonalMovers(s) & bishopAttacks(square, withoutRook))))
      return false;
  }
  return true;
}

bool inCheck(const Position& pos) {
  const BoardState& s = currentState(pos);
  return attackersOf(s, ownKingSquare(s), occupied(s)) != 0;
}

bool isPseudoLegalQuiet(const Position& pos, Move move) {
  const BoardState& s = currentState(pos);
  if (move & MOVE_CASTLING) {
    const int side = castlingSide(move);
    return move == castlingMove(s, side) && castlingAllowed(s, side);
  }
  // Anything but a plain piece type in the low byte, a captured or promotion type, or a square
  // beyond 63 is not a quiet move.
  if (move & 0xFFC0C0F8u) return false;
  const int piece = movePiece(move);
  if (piece == 0 || piece == 7) return false;
  const int from = moveFrom(move);
  const int to = moveTo(move);
  const Bitboard own = s.bb[0];
  const Bitboard occ = occupied(s);
  if (!((own >> from) & 1) || pieceOn(s, from) != piece) return false;
  if ((occ >> to) & 1) return false;
  switch (piece) {
    case PAWN:
      if (to >= 56) return false;  // a push to the last rank is a promotion
      if (to == from + 16) return rankOf(from) == 1 && !((occ >> (from + 8)) & 1);
      return to == from + 8;
    case KNIGHT: return (knightAttacks[from] >> to) & 1;
    case BISHOP: return (bishopAttacks(from, occ) >> to) & 1;
    case ROOK: return (rookAttacks(from, occ) >> to) & 1;
    case QUEEN: return (queenAttacks(from, occ) >> to) & 1;
    default: return (kingAttacks[from] >> to) & 1;
  }
}

}  // namespace board

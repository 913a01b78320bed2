#pragma once
// Inline forms of the attack and legality queries, shared by the generators and the query
// functions. All work on a record in the side to move's view.
#include "board/attacks.h"
#include "board/position.h"
#include "board/types.h"

namespace board {

// The opponent's pieces that attack `square` with the given occupancy (kings included).
inline Bitboard attackersOf(const BoardState& s, int square, Bitboard occ) {
  const Bitboard opp = opponentPieces(s);
  return opp & ((knights(s) & knightAttacks[square]) | (kings(s) & kingAttacks[square]) |
                (pawns(s) & pawnAttacksUp(bit(square))) | (straightMovers(s) & rookAttacks(square, occ)) |
                (diagonalMovers(s) & bishopAttacks(square, occ)));
}

inline Bitboard leavesKingAttackedInline(const BoardState& s, Move move) {
  const int from = moveFrom(move);
  const int to = moveTo(move);
  Bitboard occ = (occupied(s) ^ bit(from)) | bit(to);
  Bitboard attackers = opponentPieces(s) & ~bit(to);
  Bitboard nonSliders = 0;
  int target;
  if (movePiece(move) == KING) {
    target = to;
    nonSliders = (knights(s) & knightAttacks[to]) | (kings(s) & kingAttacks[to]) | (pawns(s) & pawnAttacksUp(bit(to)));
  } else {
    target = ownKingSquare(s);
    if (move & MOVE_EN_PASSANT) {
      occ ^= bit(to - 8);
      attackers ^= bit(to - 8);
    }
  }
  return (nonSliders | (straightMovers(s) & rookAttacks(target, occ)) | (diagonalMovers(s) & bishopAttacks(target, occ))) &
         attackers;
}

// Whether the move gives check: direct checks of the moved (or promoted) piece and discovered
// checks, from the opponent king's square outwards.
inline bool givesCheck(const BoardState& s, Move move) {
  const int theirKing = opponentKingSquare(s);
  const int from = moveFrom(move);
  const int to = moveTo(move);
  const Bitboard own = s.bb[0];
  Bitboard occ = occupied(s);
  if (move & MOVE_CASTLING) {
    // The rook lands on f1 or d1; a slider behind a square that king or rook left may check too.
    const int side = castlingSide(move);
    const int rookFrom = castlingRule(s, side).rookSquare;
    const int rookTo = castlingRookTo(side);
    occ = (occ ^ bit(from) ^ bit(rookFrom)) | bit(to) | bit(rookTo);
    const Bitboard straight = (straightMovers(s) & own & ~bit(rookFrom)) | bit(rookTo);
    return ((rookAttacks(theirKing, occ) & straight) | (bishopAttacks(theirKing, occ) & diagonalMovers(s) & own)) != 0;
  }
  occ = (occ ^ bit(from)) | bit(to);
  if (move & MOVE_EN_PASSANT) occ ^= bit(to - 8);
  const int piece = (move & MOVE_PROMOTION) ? movePromotion(move) : movePiece(move);
  Bitboard diagonal = diagonalMovers(s) & own & ~bit(from);
  Bitboard straight = straightMovers(s) & own & ~bit(from);
  if (piece == BISHOP || piece == QUEEN) diagonal |= bit(to);
  if (piece == ROOK || piece == QUEEN) straight |= bit(to);
  if (piece == PAWN && (pawnAttacksUp(bit(to)) >> theirKing) & 1) return true;
  if (piece == KNIGHT && (knightAttacks[to] >> theirKing) & 1) return true;
  return ((bishopAttacks(theirKing, occ) & diagonal) | (rookAttacks(theirKing, occ) & straight)) != 0;
}

// Castling with the game's rule, whatever the squares of king and rook (queries.cpp).
bool chess960CastlingAllowed(const BoardState& s, int side);

// Castling: the right, an empty way for king and rook, and no attack on a square the king crosses
// or lands on (the king's own square is known to be safe: the side to move is not in check). Attacks
// are judged with the castling rook gone, so that it shields nothing along the rank.
inline bool castlingAllowed(const BoardState& s, int side) {
  if (!(s.castling & (side == KING_SIDE ? CASTLE_OWN_KING : CASTLE_OWN_QUEEN))) return false;
  const Bitboard occ = occupied(s);
  if (standardCastling) {
    // King e1, rooks a1 and h1: nothing can reach the king's path through the rook's square.
    if (side == KING_SIDE) return !(occ & 0x60) && !attackersOf(s, 5, occ) && !attackersOf(s, 6, occ);
    return !(occ & 0x0E) && !attackersOf(s, 2, occ) && !attackersOf(s, 3, occ);
  }
  return chess960CastlingAllowed(s, side);
}

}  // namespace board

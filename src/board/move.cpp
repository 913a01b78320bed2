#include "board/move.h"

namespace board {

PackedMove packMove(Move move) {
  unsigned packed = unsigned(moveFrom(move) & 63) | unsigned(moveTo(move) & 63) << 6;
  if (move & MOVE_CHECK) packed |= 0x8000;
  if (move & MOVE_PROMOTION) {
    packed |= unsigned((movePromotion(move) - 2) & 3) << 12 | 0x4000;
  } else if (move & MOVE_CASTLING) {
    packed |= 0x1000;
  } else if (move & MOVE_EN_PASSANT) {
    packed |= 0x2000;
  }
  return PackedMove(packed);
}

Move unpackMove(const Position& pos, PackedMove packed) {
  if (packed == 0) return 0;
  const BoardState& s = currentState(pos);
  const int from = packed & 63;
  const int to = (packed >> 6) & 63;
  const Move check = (packed & 0x8000) ? MOVE_CHECK : 0;
  if (packed & 0x4000) {
    const int captured = pieceOn(s, to);
    return makeMoveWord(PAWN, from, to, captured, ((packed >> 12) & 3) + 2,
                        MOVE_PROMOTION | check | (captured ? MOVE_CAPTURE : 0));
  }
  if (packed & 0x1000) return makeMoveWord(KING, from, to, 0, 0, MOVE_CASTLING | check);
  if (packed & 0x2000) return makeMoveWord(PAWN, from, to, PAWN, 0, MOVE_CAPTURE | MOVE_EN_PASSANT | check);
  const int captured = pieceOn(s, to);
  return makeMoveWord(pieceOn(s, from), from, to, captured, 0, check | (captured ? MOVE_CAPTURE : 0));
}

void moveToText(Move move, bool black, char* buffer) {
  const int flip = black ? 56 : 0;
  const int from = (moveFrom(move) & 63) ^ flip;
  int to = (moveTo(move) & 63) ^ flip;
  // Chess960 writes castling as the king taking its own rook.
  if ((move & MOVE_CASTLING) && chess960) to = castlingRules[black][castlingSide(move)].rookSquare ^ flip;
  buffer[0] = char('a' + fileOf(from));
  buffer[1] = char('1' + rankOf(from));
  buffer[2] = char('a' + fileOf(to));
  buffer[3] = char('1' + rankOf(to));
  static constexpr char PROMOTION_LETTERS[8] = {0, 0, 'n', 'b', 'r', 'q', 0, 0};
  buffer[4] = PROMOTION_LETTERS[movePromotion(move)];
  buffer[5] = 0;
}

namespace {

// Square of a file letter and a rank digit, or -1 when either is out of range.
int readSquare(char file, char rank) {
  if (file < 'a' || file > 'h' || rank < '1' || rank > '8') return -1;
  return (file - 'a') + 8 * (rank - '1');
}

}  // namespace

Move textToMove(const Position& pos, const char* text) {
  if (text[0] == 0 || text[1] == 0 || text[2] == 0 || text[3] == 0) return 0;
  const BoardState& s = currentState(pos);
  int from = readSquare(text[0], text[1]);
  int to = readSquare(text[2], text[3]);
  if (from < 0 || to < 0) return 0;
  if (s.flags & FLAG_BLACK) {
    from ^= 56;
    to ^= 56;
  }
  int promotion = 0;
  switch (text[4]) {
    case 'n': promotion = KNIGHT; break;
    case 'b': promotion = BISHOP; break;
    case 'r': promotion = ROOK; break;
    case 'q': promotion = QUEEN; break;
    default: break;
  }
  const int piece = pieceOn(s, from);
  if (piece == 0 || !((s.bb[0] >> from) & 1)) return 0;  // no own piece to move
  const int captured = pieceOn(s, to);
  Move flags = captured ? MOVE_CAPTURE : 0;
  if (piece == PAWN && to >= 56) {
    // A promotion written without its letter is read as a queen promotion.
    return makeMoveWord(PAWN, from, to, captured, promotion ? promotion : QUEEN, flags | MOVE_PROMOTION);
  }
  if (piece == PAWN && s.epFile != NO_EP_FILE && to == 40 + s.epFile && captured == 0 && to != from + 8) {
    return makeMoveWord(PAWN, from, to, PAWN, 0, MOVE_CAPTURE | MOVE_EN_PASSANT);
  }
  // Castling: the king taking its own castling rook, or (the rook on a1/h1 with the king on e1) the
  // king's two steps towards it.
  if (piece == KING) {
    for (int side : {QUEEN_SIDE, KING_SIDE}) {
      const CastlingRule& rule = castlingRule(s, side);
      const bool right = s.castling & (side == KING_SIDE ? CASTLE_OWN_KING : CASTLE_OWN_QUEEN);
      const bool standard = rule.kingSquare == 4 && rule.rookSquare == 7 * side;
      if (right && from == rule.kingSquare && (to == rule.rookSquare || (standard && to == castlingKingTo(side))))
        return castlingMove(s, side);
    }
    if (from - to == 2 || to - from == 2) return makeMoveWord(KING, from, to, captured, 0, flags | MOVE_CASTLING);
  }
  return makeMoveWord(piece, from, to, captured, 0, flags);
}

}  // namespace board

#include "board/make_move.h"

#include "board/attacks.h"

namespace board {

std::array<KeyEntry, KEY_TABLE_SIZE> keyTable;

void initKeyTable() {
  uint64_t s0 = 0x0154DB043D0EFC3BULL;
  uint64_t s1 = 0x67EFE05134828892ULL;
  for (KeyEntry& entry : keyTable) {
    uint64_t x = s0;
    const uint64_t y = s1;
    s0 = y;
    x ^= x << 23;
    s1 = x ^ y ^ (x >> 17) ^ (y >> 26);
    entry.zobrist = s1 + y;
  }
}

namespace {

// Castling entries of the side to move (own) and of its opponent, for colour bit b (0 or 8).
constexpr int ownKingSideKey(int b) { return KEY_WHITE_KING_SIDE + (b >> 3); }
constexpr int ownQueenSideKey(int b) { return KEY_WHITE_QUEEN_SIDE + (b >> 3); }
constexpr int oppKingSideKey(int b) { return KEY_BLACK_KING_SIDE - (b >> 3); }
constexpr int oppQueenSideKey(int b) { return KEY_BLACK_QUEEN_SIDE - (b >> 3); }

// Own pieces of a type in each of the three type bitboards: all ones where the type has the bit.
constexpr Bitboard typeMask(int type, int bitIndex) { return Bitboard(0) - Bitboard((type >> bitIndex) & 1); }

}  // namespace

void makeMove(Position& pos, Move move, KeyPrefetch prefetch) {
  pushCopy(pos);
  BoardState& s = *pos.current;
  const int b = s.flags & FLAG_BLACK;
  const int piece = movePiece(move);
  const int from = moveFrom(move);
  const int to = moveTo(move);
  const Bitboard fromTo = bit(from) ^ bit(to);  // empty when a castling king stays where it is

  s.flags = uint8_t((s.flags & ~(FLAG_REPETITION | FLAG_IN_CHECK)) | ((move & MOVE_CHECK) ? FLAG_IN_CHECK : 0));
  uint64_t key = s.key;
  uint64_t pawnKey = s.pawnKey;
  int mg = s.psqMg;
  int eg = s.psqEg;

  if ((move & (MOVE_CAPTURE | MOVE_EN_PASSANT)) == MOVE_CAPTURE) {
    const int captured = moveCaptured(move);
    const Bitboard keep = ~bit(to);
    s.bb[1] &= keep;
    s.bb[2] &= keep;
    s.bb[3] &= keep;
    const KeyEntry& e = keyTable[opponentPieceEntry(captured, to, b)];
    key ^= e.zobrist;
    if (captured == PAWN) pawnKey ^= e.zobrist;
    mg += e.mg;
    eg += e.eg;
    // The opponent's castling rooks stand on its back rank, rank 8 in the mover's view.
    const auto& theirRules = castlingRules[(b >> 3) ^ 1];
    if (to == 56 + theirRules[KING_SIDE].rookSquare && (s.castling & CASTLE_OPP_KING)) {
      s.castling &= uint8_t(~CASTLE_OPP_KING);
      key ^= keyTable[oppKingSideKey(b)].zobrist;
    } else if (to == 56 + theirRules[QUEEN_SIDE].rookSquare && (s.castling & CASTLE_OPP_QUEEN)) {
      s.castling &= uint8_t(~CASTLE_OPP_QUEEN);
      key ^= keyTable[oppQueenSideKey(b)].zobrist;
    }
  }

  s.bb[0] ^= fromTo;
  if (move & MOVE_EN_PASSANT) {
    s.bb[1] ^= fromTo | bit(to - 8);
    const KeyEntry& f = keyTable[ownPieceEntry(PAWN, from, b)];
    const KeyEntry& t = keyTable[ownPieceEntry(PAWN, to, b)];
    const KeyEntry& c = keyTable[opponentPieceEntry(PAWN, to - 8, b)];
    const uint64_t change = f.zobrist ^ t.zobrist ^ c.zobrist;
    key ^= change;
    pawnKey ^= change;
    mg += t.mg - f.mg + c.mg;
    eg += t.eg - f.eg + c.eg;
  } else if (move & MOVE_PROMOTION) {
    const int promotion = movePromotion(move);
    s.bb[1] &= ~bit(from);
    s.bb[1] |= bit(to) & typeMask(promotion, 0);
    s.bb[2] |= bit(to) & typeMask(promotion, 1);
    s.bb[3] |= bit(to) & typeMask(promotion, 2);
    const KeyEntry& f = keyTable[ownPieceEntry(PAWN, from, b)];
    const KeyEntry& t = keyTable[ownPieceEntry(promotion, to, b)];
    key ^= f.zobrist ^ t.zobrist;
    pawnKey ^= f.zobrist;
    mg += t.mg - f.mg;
    eg += t.eg - f.eg;
  } else {
    s.bb[1] ^= fromTo & typeMask(piece, 0);
    s.bb[2] ^= fromTo & typeMask(piece, 1);
    s.bb[3] ^= fromTo & typeMask(piece, 2);
    const KeyEntry& f = keyTable[ownPieceEntry(piece, from, b)];
    const KeyEntry& t = keyTable[ownPieceEntry(piece, to, b)];
    const uint64_t change = f.zobrist ^ t.zobrist;
    key ^= change;
    if (piece == PAWN || piece == KING) pawnKey ^= change;
    mg += t.mg - f.mg;
    eg += t.eg - f.eg;
  }

  if (s.castling & (CASTLE_OWN_KING | CASTLE_OWN_QUEEN)) {
    if (piece == KING) {
      if (s.castling & CASTLE_OWN_KING) key ^= keyTable[ownKingSideKey(b)].zobrist;
      if (s.castling & CASTLE_OWN_QUEEN) key ^= keyTable[ownQueenSideKey(b)].zobrist;
      s.castling &= uint8_t(~(CASTLE_OWN_KING | CASTLE_OWN_QUEEN));
    } else if (piece == ROOK) {
      const auto& ownRules = castlingRules[b >> 3];
      if (from == ownRules[KING_SIDE].rookSquare && (s.castling & CASTLE_OWN_KING)) {
        s.castling &= uint8_t(~CASTLE_OWN_KING);
        key ^= keyTable[ownKingSideKey(b)].zobrist;
      } else if (from == ownRules[QUEEN_SIDE].rookSquare && (s.castling & CASTLE_OWN_QUEEN)) {
        s.castling &= uint8_t(~CASTLE_OWN_QUEEN);
        key ^= keyTable[ownQueenSideKey(b)].zobrist;
      }
    }
  }
  if (s.epFile != NO_EP_FILE) {
    key ^= keyTable[KEY_EP_FILE + s.epFile].zobrist;
    s.epFile = NO_EP_FILE;
  }
  if (piece == PAWN && to == from + 16 && (pawns(s) & ~s.bb[0] & epNeighbours[to & 7])) {
    s.epFile = uint8_t(to & 7);
    key ^= keyTable[KEY_EP_FILE + s.epFile].zobrist;
  }

  if (move & MOVE_CASTLING) {
    // King and rook may land on each other's squares or stay put: every change is a toggle.
    const int side = castlingSide(move);
    const int rookFrom = castlingRules[b >> 3][side].rookSquare;
    const int rookTo = castlingRookTo(side);
    const Bitboard rookSquares = bit(rookFrom) ^ bit(rookTo);
    s.bb[0] ^= rookSquares;
    s.bb[3] ^= rookSquares;
    const KeyEntry& f = keyTable[ownPieceEntry(ROOK, rookFrom, b)];
    const KeyEntry& t = keyTable[ownPieceEntry(ROOK, rookTo, b)];
    key ^= f.zobrist ^ t.zobrist;
    mg += t.mg - f.mg;
    eg += t.eg - f.eg;
  }

  const bool irreversible = piece == PAWN || (move & MOVE_CAPTURE);
  if (irreversible) s.halfmoveClock = 0;

  // The child's keys once mirrorPosition below has folded in the side to move.
  if (prefetch) {
    const uint64_t side = keyTable[KEY_SIDE].zobrist;
    prefetch(key ^ side, pawnKey ^ side);
  }
  s.key = key;
  s.pawnKey = pawnKey;
  s.psqMg = int16_t(mg);
  s.psqEg = int16_t(eg);
  mirrorPosition(s);

  if (!irreversible) {
    if (s.halfmoveClock < 255) ++s.halfmoveClock;
    // Only records with the same side to move, at least four plies back, and never below the
    // bottom of the stack (a set-up position may carry a clock larger than its history).
    int limit = s.halfmoveClock;
    const int depth = stackIndex(pos);
    if (limit > depth) limit = depth;
    for (int distance = 4; distance <= limit; distance += 2) {
      if (pos.current[-distance].key == s.key) {
        s.flags |= FLAG_REPETITION;
        break;
      }
    }
  }
}

void makeNullMove(Position& pos) {
  pushCopy(pos);
  BoardState& s = *pos.current;
  mirrorPosition(s);
  if (s.epFile != NO_EP_FILE) {
    s.key ^= keyTable[KEY_EP_FILE + s.epFile].zobrist;
    s.epFile = NO_EP_FILE;
  }
  s.flags &= uint8_t(~FLAG_REPETITION);
  s.halfmoveClock = 0;
}

void computeKeys(BoardState& state) {
  const int b = state.flags & FLAG_BLACK;
  uint64_t key = 0, pawnKey = 0;
  int mg = 0, eg = 0;
  const Bitboard occ = occupied(state);
  for (Bitboard pieces = occ; pieces;) {
    const int square = platform::popLsb(pieces);
    const int type = pieceOn(state, square);
    const bool own = (state.bb[0] >> square) & 1;
    const KeyEntry& e = keyTable[own ? ownPieceEntry(type, square, b) : opponentPieceEntry(type, square, b)];
    key ^= e.zobrist;
    if (type == PAWN || type == KING) pawnKey ^= e.zobrist;
    mg += own ? e.mg : -e.mg;
    eg += own ? e.eg : -e.eg;
  }
  if (state.castling & CASTLE_OWN_KING) key ^= keyTable[ownKingSideKey(b)].zobrist;
  if (state.castling & CASTLE_OWN_QUEEN) key ^= keyTable[ownQueenSideKey(b)].zobrist;
  if (state.castling & CASTLE_OPP_KING) key ^= keyTable[oppKingSideKey(b)].zobrist;
  if (state.castling & CASTLE_OPP_QUEEN) key ^= keyTable[oppQueenSideKey(b)].zobrist;
  if (state.epFile != NO_EP_FILE) key ^= keyTable[KEY_EP_FILE + state.epFile].zobrist;
  if (b) {
    key ^= keyTable[KEY_SIDE].zobrist;
    pawnKey ^= keyTable[KEY_SIDE].zobrist;
  }
  state.key = key;
  state.pawnKey = pawnKey;
  state.psqMg = int16_t(mg);
  state.psqEg = int16_t(eg);
}

}  // namespace board

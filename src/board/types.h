#pragma once
// Basic board vocabulary: bitboards, squares, piece types, scores and the move words.
#include <cstdint>

#include "platform/bits.h"

namespace board {

// A set of squares: bit s for square s (0 = a1, 7 = h1, 56 = a8, 63 = h8).
using Bitboard = uint64_t;

constexpr int PAWN = 1;
constexpr int KNIGHT = 2;
constexpr int BISHOP = 3;
constexpr int ROOK = 4;
constexpr int QUEEN = 5;
constexpr int KING = 6;

constexpr int fileOf(int square) { return square & 7; }
constexpr int rankOf(int square) { return square >> 3; }
constexpr Bitboard bit(int square) { return Bitboard(1) << square; }

constexpr Bitboard RANK_1 = 0x00000000000000FFULL;
constexpr Bitboard RANK_2 = RANK_1 << 8;
constexpr Bitboard RANK_3 = RANK_1 << 16;
constexpr Bitboard RANK_4 = RANK_1 << 24;
constexpr Bitboard RANK_5 = RANK_1 << 32;
constexpr Bitboard RANK_6 = RANK_1 << 40;
constexpr Bitboard RANK_7 = RANK_1 << 48;
constexpr Bitboard RANK_8 = RANK_1 << 56;
constexpr Bitboard FILE_A = 0x0101010101010101ULL;
constexpr Bitboard NOT_FILE_A = 0xFEFEFEFEFEFEFEFEULL;
constexpr Bitboard NOT_FILE_H = 0x7F7F7F7F7F7F7F7FULL;

// Squares attacked by a set of the side to move's pawns (they move up the board).
constexpr Bitboard pawnAttacksUp(Bitboard pawns) {
  return ((pawns << 9) & NOT_FILE_A) | ((pawns << 7) & NOT_FILE_H);
}
// Squares attacked by a set of the opponent's pawns (they move down the board).
constexpr Bitboard pawnAttacksDown(Bitboard pawns) {
  return ((pawns >> 9) & NOT_FILE_H) | ((pawns >> 7) & NOT_FILE_A);
}

// ---------------------------------------------------------------------------------------------
// Scores: signed, quarter centipawns, 16 bits wherever stored, from the side to move's view.
using Score = int16_t;
constexpr int MATE = 32700;        // mated at ply p scores p - MATE
constexpr int MATE_BOUND = 31900;  // beyond it a score is a mate score
constexpr int NO_EVAL = -32700;    // no static evaluation

// ---------------------------------------------------------------------------------------------
// Move: 32 bits.
//   bits 0-2 piece type (PAWN for a promotion), bit 3 capture, bit 4 en passant, bit 5 promotion,
//   bit 6 castling, bit 7 gives check, bits 8-15 from, bits 16-23 to, bits 24-27 captured type,
//   bits 28-30 promotion type, bit 31 zero. Squares are in the mover's view. 0 = no move.
using Move = uint32_t;
// PackedMove: 16 bits as kept in the transposition table (see packMove).
using PackedMove = uint16_t;

constexpr Move MOVE_CAPTURE = 8;
constexpr Move MOVE_EN_PASSANT = 16;
constexpr Move MOVE_PROMOTION = 32;
constexpr Move MOVE_CASTLING = 64;
constexpr Move MOVE_CHECK = 128;

constexpr Move CASTLE_KING_SIDE_MOVE = 0x00060446;
constexpr Move CASTLE_QUEEN_SIDE_MOVE = 0x00020446;

constexpr int movePiece(Move m) { return int(m & 7); }
constexpr int moveFrom(Move m) { return int((m >> 8) & 0xFF); }
constexpr int moveTo(Move m) { return int((m >> 16) & 0xFF); }
constexpr int moveCaptured(Move m) { return int((m >> 24) & 0xF); }
constexpr int movePromotion(Move m) { return int((m >> 28) & 0x7); }
constexpr Move withoutCheck(Move m) { return m & ~MOVE_CHECK; }

// Builds a move word from its fields; flags are the MOVE_* bits.
constexpr Move makeMoveWord(int piece, int from, int to, int captured = 0, int promotion = 0,
                            Move flags = 0) {
  return Move(piece) | flags | (Move(from) << 8) | (Move(to) << 16) | (Move(captured) << 24) |
         (Move(promotion) << 28);
}

// A generator list entry: a signed 32-bit ordering score (low half) followed by the move (high half).
struct ScoredMove {
  int32_t score;
  Move move;
};
static_assert(sizeof(ScoredMove) == 8);
static_assert(sizeof(Move) == 4);

constexpr int MAX_MOVES = 256;  // capacity of every move list

}  // namespace board

#pragma once
// The position-key table and making moves by copy-make.
#include <array>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

namespace board {

// One entry of the key table: the key and, for piece entries, the middle-game and end-game
// material-plus-placement values of that piece type on that square (owner's view).
struct KeyEntry {
  uint64_t zobrist;
  int16_t mg;
  int16_t eg;
};

constexpr int KEY_TABLE_SIZE = 1037;
constexpr int KEY_WHITE_KING_SIDE = 1024;
constexpr int KEY_BLACK_KING_SIDE = 1025;
constexpr int KEY_WHITE_QUEEN_SIDE = 1026;
constexpr int KEY_BLACK_QUEEN_SIDE = 1027;
constexpr int KEY_EP_FILE = 1028;  // + file
constexpr int KEY_SIDE = 1036;     // Black to move

// Piece entries: code * 64 + square, code = type + 8 for White, type for Black; square in the
// owner's view.
extern std::array<KeyEntry, KEY_TABLE_SIZE> keyTable;

// Fills the zobrist keys from xorshift128+ (mg/eg are filled by the evaluation's table set-up).
void initKeyTable();

// Entry index of a piece of the side to move (own) or of the opponent, for a record whose colour
// bit (FLAG_BLACK value) is colourBit; squares in the side to move's view.
constexpr int ownPieceEntry(int type, int square, int colourBit) {
  return ((type + 8) ^ colourBit) * 64 + square;
}
constexpr int opponentPieceEntry(int type, int square, int colourBit) {
  return (type ^ colourBit) * 64 + (square ^ 56);
}

// Plays a move that fits the current record (no legality test) on a new record.
// `prefetch`, when given, is called with the new key and pawn key as soon as they are known, before
// the rest of the record is brought up to date (the search starts loading the child's table slot and
// pawn cache entry there).
using KeyPrefetch = void (*)(uint64_t key, uint64_t pawnKey);
void makeMove(Position& pos, Move move, KeyPrefetch prefetch = nullptr);
void makeNullMove(Position& pos);
inline void unmakeMove(Position& pos) { pop(pos); }

// The key of the position after a move, for starting to load its table slot early: exact for every
// move but those that castle, give up a castling right or leave an en-passant file (a wrong guess
// only loads a line for nothing).
inline uint64_t keyAfterMove(const BoardState& s, Move move) {
  const int b = s.flags & FLAG_BLACK;
  const int to = moveTo(move);
  const int landing = (move & MOVE_PROMOTION) ? movePromotion(move) : movePiece(move);
  uint64_t key = s.key ^ keyTable[KEY_SIDE].zobrist ^
                 keyTable[ownPieceEntry(movePiece(move), moveFrom(move), b)].zobrist ^
                 keyTable[ownPieceEntry(landing, to, b)].zobrist;
  if (move & MOVE_EN_PASSANT)
    key ^= keyTable[opponentPieceEntry(PAWN, to - 8, b)].zobrist;
  else if (move & MOVE_CAPTURE)
    key ^= keyTable[opponentPieceEntry(moveCaptured(move), to, b)].zobrist;
  if (s.epFile != NO_EP_FILE) key ^= keyTable[KEY_EP_FILE + s.epFile].zobrist;
  return key;
}

// The key of the position after a null move (exact).
inline uint64_t keyAfterNullMove(const BoardState& s) {
  uint64_t key = s.key ^ keyTable[KEY_SIDE].zobrist;
  if (s.epFile != NO_EP_FILE) key ^= keyTable[KEY_EP_FILE + s.epFile].zobrist;
  return key;
}

// Full recomputation of key, pawnKey, psqMg and psqEg of a record (for set-up and tests).
void computeKeys(BoardState& state);

}  // namespace board

#pragma once
// Attack tables: king and knight sets, en-passant masks, magic slider tables, square-pair tables.
// Built once at start-up (initAttackTables) and read-only afterwards.
#include <array>
#include <cstdint>

#include "board/types.h"

namespace board {

// One square's slice of a slider table: attacks[((occ & mask) * magic) >> shift].
struct MagicEntry {
  Bitboard mask;
  Bitboard magic;
  uint64_t shift;
  const Bitboard* attacks;
};

extern std::array<Bitboard, 64> kingAttacks;
extern std::array<Bitboard, 64> knightAttacks;
extern std::array<Bitboard, 8> epNeighbours;  // fourth-rank squares beside a file
extern std::array<Bitboard, 8> epCapturers;   // fifth-rank squares beside a file
extern std::array<MagicEntry, 64> bishopMagic;
extern std::array<MagicEntry, 64> rookMagic;
// lineTo[a * 64 + b]: squares from a (excluded) to b (included) on their common line, else 0.
extern std::array<Bitboard, 4096> lineTo;
// lineDirection[a * 64 + b]: 0 east, 1 west, 2 north, 3 south, 4 north-east, 5 south-west,
// 6 north-west, 7 south-east, 8 none.
extern std::array<uint8_t, 4096> lineDirection;

constexpr int BISHOP_TABLE_SIZE = 5248;
constexpr int ROOK_TABLE_SIZE = 102400;

// Fills the slider slices, then lineTo and lineDirection. Idempotent.
void initAttackTables();

inline Bitboard bishopAttacks(int square, Bitboard occ) {
  const MagicEntry& e = bishopMagic[square];
  return e.attacks[((occ & e.mask) * e.magic) >> e.shift];
}
inline Bitboard rookAttacks(int square, Bitboard occ) {
  const MagicEntry& e = rookMagic[square];
  return e.attacks[((occ & e.mask) * e.magic) >> e.shift];
}
inline Bitboard queenAttacks(int square, Bitboard occ) {
  return bishopAttacks(square, occ) | rookAttacks(square, occ);
}
inline Bitboard lineBetween(int a, int b) { return lineTo[a * 64 + b]; }
inline int directionBetween(int a, int b) { return lineDirection[a * 64 + b]; }

}  // namespace board

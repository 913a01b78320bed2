#pragma once
// Attack tables: king and knight sets, en-passant masks, slider tables, square-pair tables.
// Built once at start-up (initAttackTables) and read-only afterwards.
#include <array>
#include <cstdint>

#include "board/types.h"

// Slider lookups by PEXT and PDEP where the compiler targets a processor that runs them fast: one
// with BMI2 other than AMD's Zen 1, Zen 2 and Excavator, which microcode both instructions. A build
// for a family of processors rather than this one (ARCH=x86-64-avx2) defines TESMAR_NO_PDEP, since
// it may meet either kind.
#if defined(__BMI2__) && !defined(__znver1__) && !defined(__znver2__) && !defined(__bdver4__) && \
    !defined(TESMAR_NO_PDEP)
#include <immintrin.h>
#define TESMAR_PDEP_SLIDERS 1
#else
#define TESMAR_PDEP_SLIDERS 0
#endif

namespace board {

// One square's slice of a slider table: attacks[((occ & mask) * magic) >> shift].
struct MagicEntry {
  Bitboard mask;
  Bitboard magic;
  uint64_t shift;
  const Bitboard* attacks;
};

// The same slice addressed by PEXT, each attack set packed into the squares of the empty-board rays:
// attack set = PDEP(attacks[PEXT(occ, mask)], rays). Two bytes an entry, so the whole table (210 kB
// against 860 kB) stays in the level-2 cache beside the search's other data.
struct PackedSliderEntry {
  Bitboard mask;
  Bitboard rays;
  const uint16_t* attacks;
};

extern std::array<Bitboard, 64> kingAttacks;
extern std::array<Bitboard, 64> knightAttacks;
extern std::array<Bitboard, 8> epNeighbours;  // fourth-rank squares beside a file
extern std::array<Bitboard, 8> epCapturers;   // fifth-rank squares beside a file
#if TESMAR_PDEP_SLIDERS
extern std::array<PackedSliderEntry, 64> bishopSlider;
extern std::array<PackedSliderEntry, 64> rookSlider;
#else
extern std::array<MagicEntry, 64> bishopMagic;
extern std::array<MagicEntry, 64> rookMagic;
#endif
// lineTo[a * 64 + b]: squares from a (excluded) to b (included) on their common line, else 0.
extern std::array<Bitboard, 4096> lineTo;
// lineDirection[a * 64 + b]: 0 east, 1 west, 2 north, 3 south, 4 north-east, 5 south-west,
// 6 north-west, 7 south-east, 8 none.
extern std::array<uint8_t, 4096> lineDirection;

constexpr int BISHOP_TABLE_SIZE = 5248;
constexpr int ROOK_TABLE_SIZE = 102400;

// Fills the slider slices, then lineTo and lineDirection. Idempotent.
void initAttackTables();

#if TESMAR_PDEP_SLIDERS
inline Bitboard bishopAttacks(int square, Bitboard occ) {
  const PackedSliderEntry& e = bishopSlider[square];
  return _pdep_u64(e.attacks[_pext_u64(occ, e.mask)], e.rays);
}
inline Bitboard rookAttacks(int square, Bitboard occ) {
  const PackedSliderEntry& e = rookSlider[square];
  return _pdep_u64(e.attacks[_pext_u64(occ, e.mask)], e.rays);
}
#else
inline Bitboard bishopAttacks(int square, Bitboard occ) {
  const MagicEntry& e = bishopMagic[square];
  return e.attacks[((occ & e.mask) * e.magic) >> e.shift];
}
inline Bitboard rookAttacks(int square, Bitboard occ) {
  const MagicEntry& e = rookMagic[square];
  return e.attacks[((occ & e.mask) * e.magic) >> e.shift];
}
#endif
inline Bitboard queenAttacks(int square, Bitboard occ) {
  return bishopAttacks(square, occ) | rookAttacks(square, occ);
}
inline Bitboard lineBetween(int a, int b) { return lineTo[a * 64 + b]; }
inline int directionBetween(int a, int b) { return lineDirection[a * 64 + b]; }

}  // namespace board

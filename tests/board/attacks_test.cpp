// Attack tables: the slider lookups and the square-pair tables against a ray scan.
#include <gtest/gtest.h>

#include "board/attacks.h"

namespace {

using board::Bitboard;
using board::bit;

// Attacks of a slider from a square by walking each ray until the first occupied square.
// With withoutEdge, the last square of each ray is left out (the relevant-occupancy mask).
Bitboard scanAttacks(int square, Bitboard occ, bool straight, bool withoutEdge = false) {
  static constexpr int STEPS[2][4][2] = {{{1, 1}, {-1, -1}, {-1, 1}, {1, -1}}, {{1, 0}, {-1, 0}, {0, 1}, {0, -1}}};
  const auto onBoard = [](int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; };
  Bitboard result = 0;
  for (const auto& [df, dr] : STEPS[straight]) {
    for (int file = square % 8 + df, rank = square / 8 + dr; onBoard(file, rank); file += df, rank += dr) {
      if (withoutEdge && !onBoard(file + df, rank + dr)) break;
      result |= bit(rank * 8 + file);
      if (occ & bit(rank * 8 + file)) break;
    }
  }
  return result;
}

// The slider tables of this build: magic-addressed bitboards, or PEXT-addressed attack sets packed
// into the empty-board rays.
#if TESMAR_PDEP_SLIDERS
const auto& bishopEntries = board::bishopSlider;
const auto& rookEntries = board::rookSlider;
#else
const auto& bishopEntries = board::bishopMagic;
const auto& rookEntries = board::rookMagic;
#endif

TEST(SliderTable, EverySubsetOfEverySquareMatchesARayScan) {
  int entries[2] = {0, 0};  // bishop, rook
  for (int square = 0; square < 64; ++square) {
    for (const bool straight : {false, true}) {
      const auto& e = straight ? rookEntries[square] : bishopEntries[square];
      // The mask is the rays without their edge squares; the slice follows the previous one.
      ASSERT_EQ(e.mask, scanAttacks(square, 0, straight, true)) << "square " << square << " straight " << straight;
#if TESMAR_PDEP_SLIDERS
      ASSERT_EQ(e.rays, scanAttacks(square, 0, straight));
#else
      ASSERT_EQ(e.shift, uint64_t(64 - platform::popcount(e.mask)));
#endif
      ASSERT_EQ(e.attacks, (straight ? rookEntries : bishopEntries)[0].attacks + entries[straight]);
      entries[straight] += 1 << platform::popcount(e.mask);
      Bitboard subset = 0;
      do {
        // Pieces outside the mask never change the result.
        const Bitboard noise = (subset * 0x9E3779B97F4A7C15ULL) & ~e.mask & ~bit(square);
        const Bitboard got = straight ? board::rookAttacks(square, subset | noise)
                                      : board::bishopAttacks(square, subset | noise);
        ASSERT_EQ(got, scanAttacks(square, subset, straight))
            << "square " << square << " occupancy " << std::hex << subset;
        subset = (subset - e.mask) & e.mask;
      } while (subset);
    }
  }
  EXPECT_EQ(entries[0], board::BISHOP_TABLE_SIZE);
  EXPECT_EQ(entries[1], board::ROOK_TABLE_SIZE);
  EXPECT_EQ(rookEntries[0].attacks, bishopEntries[0].attacks + board::BISHOP_TABLE_SIZE);
#if defined(__linux__)
  // The block starts on a 2 MB boundary, where one huge page can back the whole table.
  EXPECT_EQ(reinterpret_cast<uintptr_t>(bishopEntries[0].attacks) % (uintptr_t(1) << 21), 0u);
#endif
}

// lineBetween and directionBetween agree with each other and with the slider attacks on an empty board.
TEST(AttackTables, SquarePairTablesAgreeWithRays) {
  for (int a = 0; a < 64; ++a) {
    for (int b = 0; b < 64; ++b) {
      const Bitboard line = board::lineBetween(a, b);
      const int direction = board::directionBetween(a, b);
      const bool straight = (board::rookAttacks(a, 0) >> b) & 1, diagonal = (board::bishopAttacks(a, 0) >> b) & 1;
      ASSERT_EQ(direction != 8, straight || diagonal) << a << " " << b;
      if (direction == 8) {
        ASSERT_EQ(line, 0u);
        continue;
      }
      ASSERT_EQ(direction < 4, straight);
      ASSERT_EQ(direction < 2, a / 8 == b / 8);
      const Bitboard expected = straight ? board::rookAttacks(a, bit(b)) & board::rookAttacks(b, bit(a))
                                         : board::bishopAttacks(a, bit(b)) & board::bishopAttacks(b, bit(a));
      ASSERT_EQ(line, expected | bit(b)) << a << " " << b;
    }
  }
}

}  // namespace

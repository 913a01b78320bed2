// Attack tables: the magic slider lookups and the square-pair tables against a ray scan.
#include <gtest/gtest.h>

#include "board/attacks.h"

namespace {

using board::Bitboard;
using board::bit;

// Attacks of a slider from a square by walking each ray until the first occupied square.
// With withoutEdge, the last square of each ray is left out (the relevant-occupancy mask).
Bitboard scanAttacks(int square, Bitboard occ, bool straight, bool withoutEdge = false) {
  static constexpr int STRAIGHT[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
  static constexpr int DIAGONAL[4][2] = {{1, 1}, {-1, -1}, {-1, 1}, {1, -1}};
  const auto& steps = straight ? STRAIGHT : DIAGONAL;
  Bitboard result = 0;
  for (const auto& step : steps) {
    int file = square % 8 + step[0], rank = square / 8 + step[1];
    for (; file >= 0 && file < 8 && rank >= 0 && rank < 8; file += step[0], rank += step[1]) {
      const int nextFile = file + step[0], nextRank = rank + step[1];
      if (withoutEdge && (nextFile < 0 || nextFile > 7 || nextRank < 0 || nextRank > 7)) break;
      result |= bit(rank * 8 + file);
      if (occ & bit(rank * 8 + file)) break;
    }
  }
  return result;
}

TEST(MagicTable, EverySubsetOfEverySquareMatchesARayScan) {
  const board::Bitboard* bishopStart = board::bishopMagic[0].attacks;
  const board::Bitboard* rookStart = board::rookMagic[0].attacks;
  int bishopEntries = 0, rookEntries = 0;
  for (int square = 0; square < 64; ++square) {
    for (int kind = 0; kind < 2; ++kind) {
      const bool straight = kind == 1;
      const board::MagicEntry& e = straight ? board::rookMagic[square] : board::bishopMagic[square];
      // The mask is the rays without their edge squares; the slice follows the previous one.
      const Bitboard edgeless = scanAttacks(square, 0, straight, true);
      ASSERT_EQ(e.mask, edgeless) << "square " << square << (straight ? " rook" : " bishop");
      ASSERT_EQ(e.shift, uint64_t(64 - platform::popcount(e.mask)));
      if (straight) {
        ASSERT_EQ(e.attacks, rookStart + rookEntries);
        rookEntries += 1 << platform::popcount(e.mask);
      } else {
        ASSERT_EQ(e.attacks, bishopStart + bishopEntries);
        bishopEntries += 1 << platform::popcount(e.mask);
      }
      Bitboard subset = 0;
      do {
        // Pieces outside the mask never change the result.
        const Bitboard noise = (subset * 0x9E3779B97F4A7C15ULL) & ~e.mask & ~bit(square);
        const Bitboard expected = scanAttacks(square, subset, straight);
        const Bitboard got = straight ? board::rookAttacks(square, subset | noise)
                                      : board::bishopAttacks(square, subset | noise);
        ASSERT_EQ(got, expected) << "square " << square << " occupancy " << std::hex << subset;
        subset = (subset - e.mask) & e.mask;
      } while (subset);
    }
  }
  EXPECT_EQ(bishopEntries, board::BISHOP_TABLE_SIZE);
  EXPECT_EQ(rookEntries, board::ROOK_TABLE_SIZE);
  EXPECT_EQ(rookStart, bishopStart + board::BISHOP_TABLE_SIZE);
  // The first multipliers are the published ones.
  EXPECT_EQ(board::bishopMagic[0].magic, 0x89A1121896040240ULL);
  EXPECT_EQ(board::bishopMagic[63].magic, 0x40102000A0A60140ULL);
  EXPECT_EQ(board::rookMagic[3].magic, 0x2480041000800801ULL);
  EXPECT_EQ(board::rookMagic[63].magic, 0x0026002114058042ULL);
}

// lineTo and lineDirection agree with each other and with the slider attacks on an empty board.
TEST(AttackTables, SquarePairTablesAgreeWithRays) {
  for (int a = 0; a < 64; ++a) {
    for (int b = 0; b < 64; ++b) {
      const Bitboard line = board::lineBetween(a, b);
      const int direction = board::directionBetween(a, b);
      const bool straight = (board::rookAttacks(a, 0) >> b) & 1;
      const bool diagonal = (board::bishopAttacks(a, 0) >> b) & 1;
      ASSERT_EQ(direction != 8, straight || diagonal) << a << " " << b;
      if (direction == 8) {
        ASSERT_EQ(line, 0u);
        continue;
      }
      ASSERT_EQ(direction < 4, straight);
      const Bitboard expected =
          (straight ? board::rookAttacks(a, bit(b)) & board::rookAttacks(b, bit(a))
                    : board::bishopAttacks(a, bit(b)) & board::bishopAttacks(b, bit(a))) |
          bit(b);
      ASSERT_EQ(line, expected) << a << " " << b;
      ASSERT_EQ(direction < 2, a / 8 == b / 8);
    }
  }
}

}  // namespace

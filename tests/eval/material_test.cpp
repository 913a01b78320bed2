// Material and placement tables: every entry as built, and their copy in the key table.
#include <gtest/gtest.h>

#include "board/make_move.h"
#include "eval/material.h"
#include "eval_support.h"

namespace {

using eval::PHASE_EG;
using eval::PHASE_MG;
using eval::PieceSquare;

// Every entry as built, pinned by one FNV-1a checksum in index order; the exchange values as printed.
TEST(PieceSquareTables, ChecksumOfEveryEntry) {
  uint64_t hash = 0xCBF29CE484222325ULL;
  for (const auto& type : PieceSquare)
    for (const auto& phase : type)
      for (const int16_t value : phase) hash = (hash ^ uint16_t(value)) * 0x100000001B3ULL;
  EXPECT_EQ(hash, 0xB6E927FC815BC773ULL);
  const int values[8] = {0, 398, 1238, 1348, 1963, 3896, 0, 0};
  for (int type = 0; type < 8; ++type) EXPECT_EQ(eval::PieceValue[type], values[type]);
}

// The incrementally kept sums read their values from the key table, for both colour codes.
TEST(PieceSquareTables, AreCopiedIntoBothColourCodesOfTheKeyTable) {
  for (int type = board::PAWN; type <= board::KING; ++type)
    for (int square = 0; square < 64; ++square)
      for (const int code : {type, type + 8}) {
        EXPECT_EQ(board::keyTable[code * 64 + square].mg, PieceSquare[type][PHASE_MG][square]) << code << " " << square;
        EXPECT_EQ(board::keyTable[code * 64 + square].eg, PieceSquare[type][PHASE_EG][square]) << code << " " << square;
      }
}

}  // namespace

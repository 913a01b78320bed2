// Material and placement tables: the mirrored halves, the key table copy and the kept sums.
#include <gtest/gtest.h>

#include "board/make_move.h"
#include "eval/material.h"
#include "eval_support.h"

namespace {

using eval::PHASE_EG;
using eval::PHASE_MG;
using eval::PieceSquare;

TEST(PieceSquareTables, AreFileSymmetricAndZeroOnPawnlessRanks) {
  for (int type = 0; type < 8; ++type)
    for (int phase = 0; phase < 2; ++phase)
      for (int square = 0; square < 64; ++square)
        EXPECT_EQ(PieceSquare[type][phase][square], PieceSquare[type][phase][square ^ 7])
            << type << " " << phase << " " << square;
  for (int file = 0; file < 8; ++file) {
    for (int phase = 0; phase < 2; ++phase) {
      EXPECT_EQ(PieceSquare[board::PAWN][phase][file], 0);
      EXPECT_EQ(PieceSquare[board::PAWN][phase][56 + file], 0);
    }
  }
  for (int square = 0; square < 64; ++square) {
    EXPECT_EQ(PieceSquare[0][PHASE_MG][square], 0);
    EXPECT_EQ(PieceSquare[7][PHASE_EG][square], 0);
  }
}

// Every entry as built, pinned by one checksum (FNV-1a over the tables in index order); the exchange
// values as printed.
TEST(PieceSquareTables, ChecksumOfEveryEntry) {
  uint64_t hash = 0xCBF29CE484222325ULL;
  for (const auto& type : PieceSquare)
    for (const auto& phase : type)
      for (const int16_t value : phase) hash = (hash ^ uint16_t(value)) * 0x100000001B3ULL;
  EXPECT_EQ(hash, 0xB6E927FC815BC773ULL);
  const int values[8] = {0, 398, 1238, 1348, 1963, 3896, 0, 0};
  for (int type = 0; type < 8; ++type) EXPECT_EQ(eval::PieceValue[type], values[type]);
}

TEST(PieceSquareTables, AreCopiedIntoBothColourCodesOfTheKeyTable) {
  for (int type = board::PAWN; type <= board::KING; ++type) {
    for (int square = 0; square < 64; ++square) {
      for (const int code : {type, type + 8}) {
        const board::KeyEntry& entry = board::keyTable[code * 64 + square];
        EXPECT_EQ(entry.mg, PieceSquare[type][PHASE_MG][square]);
        EXPECT_EQ(entry.eg, PieceSquare[type][PHASE_EG][square]);
      }
    }
  }
}

// The kept sums equal the material of the side to move minus the opponent's, recomputed from the
// tables piece by piece (the breakdown's material term), in set-up positions and along games.
TEST(PieceSquareSums, MatchARecomputationFromTheTables) {
  const char* const symmetric[] = {board::START_FEN,
                                   "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1",
                                   "4k3/4p3/8/8/8/8/4P3/4K3 w - - 0 1"};
  for (const char* fen : symmetric) {
    auto pos = evaltest::setUp(fen);
    ASSERT_TRUE(pos);
    EXPECT_EQ(board::currentState(*pos).psqMg, 0) << fen;
    EXPECT_EQ(board::currentState(*pos).psqEg, 0) << fen;
  }
  // A lone white pawn on e2 against a lone black pawn on e7 of the same weight, opposite signs.
  auto white = evaltest::setUp("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
  auto black = evaltest::setUp("4k3/4p3/8/8/8/8/8/4K3 w - - 0 1");
  ASSERT_TRUE(white && black);
  EXPECT_EQ(board::currentState(*white).psqMg, -board::currentState(*black).psqMg);
  EXPECT_EQ(board::currentState(*white).psqMg, 226);

  std::vector<std::string> fens = evaltest::variedFens();
  ASSERT_GT(fens.size(), 100u);
  int nonZero = 0;
  for (const std::string& fen : fens) {
    auto pos = evaltest::setUp(fen);
    ASSERT_TRUE(pos) << fen;
    const board::BoardState& state = board::currentState(*pos);
    if (board::isInCheck(state)) continue;
    eval::EvalTrace trace;
    eval::EvalContext context;
    eval::evaluateTraced(*pos, 0, context, trace);
    if (trace.drawnMaterial) continue;
    const int us = board::blackToMove(state) ? eval::BLACK : eval::WHITE;
    const auto& m = trace.terms[eval::TERM_MATERIAL];
    EXPECT_EQ(state.psqMg, m[us][0] - m[us ^ 1][0]) << fen;
    EXPECT_EQ(state.psqEg, m[us][1] - m[us ^ 1][1]) << fen;
    nonZero += state.psqMg != 0;
  }
  EXPECT_GT(nonZero, 50);
}

// The same along random games, on the incrementally made records themselves.
TEST(PieceSquareSums, StayEqualToARecomputationAlongRandomGames) {
  auto pos = std::make_unique<board::Position>();
  board::Move moves[board::MAX_MOVES];
  uint64_t seed = 0x9E3779B97F4A7C15ULL;
  int checked = 0;
  for (int game = 0; game < 8; ++game) {
    ASSERT_TRUE(board::setupFromFen(*pos, board::START_FEN));
    for (int ply = 0; ply < 150; ++ply) {
      board::Move* end = board::generateLegalMoves(*pos, moves);
      if (end == moves) break;
      seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
      board::makeMove(*pos, moves[seed % uint64_t(end - moves)]);
      if (board::stackIndex(*pos) > 200) {
        pos->states[0] = board::currentState(*pos);
        pos->current = pos->states.data();
      }
      const board::BoardState& state = board::currentState(*pos);
      eval::EvalTrace trace;
      eval::EvalContext context;
      eval::evaluateTraced(*pos, 0, context, trace);
      if (trace.drawnMaterial) break;
      const int us = board::blackToMove(state) ? eval::BLACK : eval::WHITE;
      const auto& m = trace.terms[eval::TERM_MATERIAL];
      ASSERT_EQ(state.psqMg, m[us][0] - m[us ^ 1][0]) << "game " << game << " ply " << ply;
      ASSERT_EQ(state.psqEg, m[us][1] - m[us ^ 1][1]) << "game " << game << " ply " << ply;
      ++checked;
    }
  }
  EXPECT_GT(checked, 500);
}

}  // namespace

#pragma once
// Material and placement: one table per piece type and game phase whose entries already hold the
// piece's material value, and the exchange values of the piece types.
#include <array>
#include <cstdint>

#include "board/types.h"

namespace eval {

constexpr int PHASE_MG = 0;
constexpr int PHASE_EG = 1;

// Exchange values by piece type 0..7 (none, pawn, knight, bishop, rook, queen, king, unused), used
// by the exchange evaluation and the quiescence search's delta pruning.
inline constexpr std::array<int16_t, 8> PieceValue = {0, 398, 1238, 1348, 1963, 3896, 0, 0};

// PieceSquare[type][phase][square]: material plus placement, square in the owner's own view (the
// owner plays towards rank 8). Types 0 and 7 are all zero. Every table is symmetric between the
// a-file and the h-file.
using PieceSquareTable = std::array<std::array<std::array<int16_t, 64>, 2>, 8>;

namespace detail {

// The a- to d-file half of each table, rank 8 first; the e- to h-files mirror it.
using HalfTable = std::array<std::array<int16_t, 4>, 8>;

inline constexpr HalfTable PAWN_MG = {{{0, 0, 0, 0},
                                       {668, 655, 642, 619},
                                       {355, 395, 435, 441},
                                       {304, 324, 344, 378},
                                       {281, 307, 334, 345},
                                       {271, 273, 276, 288},
                                       {269, 270, 272, 226},
                                       {0, 0, 0, 0}}};
inline constexpr HalfTable PAWN_EG = {{{0, 0, 0, 0},
                                       {734, 688, 643, 637},
                                       {430, 433, 436, 442},
                                       {378, 391, 404, 379},
                                       {342, 343, 344, 346},
                                       {309, 326, 344, 365},
                                       {346, 354, 363, 399},
                                       {0, 0, 0, 0}}};
inline constexpr HalfTable KNIGHT_MG = {{{1136, 1136, 1207, 1207},
                                         {1136, 1264, 1264, 1264},
                                         {1207, 1264, 1297, 1297},
                                         {1207, 1264, 1297, 1345},
                                         {1207, 1264, 1297, 1345},
                                         {1207, 1264, 1297, 1297},
                                         {1136, 1264, 1264, 1264},
                                         {1136, 1136, 1207, 1207}}};
inline constexpr HalfTable KNIGHT_EG = {{{1137, 1137, 1212, 1212},
                                         {1137, 1265, 1265, 1265},
                                         {1212, 1265, 1298, 1298},
                                         {1212, 1265, 1298, 1346},
                                         {1212, 1265, 1298, 1346},
                                         {1212, 1265, 1298, 1298},
                                         {1137, 1265, 1265, 1265},
                                         {1137, 1137, 1212, 1212}}};
inline constexpr HalfTable BISHOP_MG = {{{1293, 1293, 1304, 1304},
                                         {1293, 1361, 1361, 1361},
                                         {1304, 1361, 1365, 1365},
                                         {1304, 1361, 1365, 1365},
                                         {1304, 1361, 1365, 1365},
                                         {1304, 1361, 1365, 1365},
                                         {1293, 1361, 1361, 1361},
                                         {1293, 1293, 1304, 1304}}};
inline constexpr HalfTable BISHOP_EG = {{{1322, 1322, 1341, 1341},
                                         {1322, 1378, 1378, 1378},
                                         {1341, 1378, 1388, 1388},
                                         {1341, 1378, 1388, 1402},
                                         {1341, 1378, 1388, 1402},
                                         {1341, 1378, 1388, 1388},
                                         {1322, 1378, 1378, 1378},
                                         {1322, 1322, 1341, 1341}}};
inline constexpr HalfTable ROOK_MG = {{{1782, 1793, 1804, 1815},
                                       {1815, 1837, 1859, 1881},
                                       {1749, 1749, 1749, 1754},
                                       {1749, 1749, 1749, 1754},
                                       {1749, 1749, 1749, 1754},
                                       {1749, 1749, 1749, 1754},
                                       {1749, 1749, 1749, 1754},
                                       {1749, 1749, 1749, 1754}}};
inline constexpr HalfTable ROOK_EG = {{{2161, 2163, 2165, 2168},
                                       {2168, 2172, 2177, 2182},
                                       {2155, 2155, 2155, 2155},
                                       {2155, 2155, 2155, 2155},
                                       {2155, 2155, 2155, 2155},
                                       {2155, 2155, 2155, 2155},
                                       {2155, 2155, 2155, 2155},
                                       {2155, 2155, 2155, 2155}}};
inline constexpr HalfTable QUEEN_MG = {{{3862, 3862, 3883, 3883},
                                        {3862, 3883, 3883, 3883},
                                        {3883, 3883, 3883, 3883},
                                        {3883, 3883, 3883, 3883},
                                        {3883, 3883, 3883, 3883},
                                        {3883, 3883, 3883, 3883},
                                        {3862, 3883, 3883, 3883},
                                        {3862, 3862, 3883, 3883}}};
inline constexpr HalfTable QUEEN_EG = {{{3863, 3863, 3890, 3890},
                                        {3863, 3934, 3934, 3934},
                                        {3890, 3934, 3940, 3940},
                                        {3890, 3934, 3940, 3968},
                                        {3890, 3934, 3940, 3968},
                                        {3890, 3934, 3940, 3940},
                                        {3863, 3934, 3934, 3934},
                                        {3863, 3863, 3890, 3890}}};
inline constexpr HalfTable KING_MG = {{{0, 0, 0, 0},
                                       {0, 0, 0, 0},
                                       {0, 0, 0, 0},
                                       {0, 0, 0, 0},
                                       {0, 0, 0, 0},
                                       {0, 0, 0, 0},
                                       {78, 78, 78, 78},
                                       {78, 183, 78, 78}}};
inline constexpr HalfTable KING_EG = {{{75, 75, 155, 155},
                                       {75, 247, 247, 247},
                                       {155, 247, 310, 310},
                                       {155, 247, 310, 324},
                                       {155, 247, 310, 324},
                                       {155, 247, 310, 310},
                                       {75, 247, 247, 247},
                                       {75, 75, 155, 155}}};

constexpr std::array<int16_t, 64> expandHalf(const HalfTable& half) {
  std::array<int16_t, 64> full{};
  for (int square = 0; square < 64; ++square) {
    const int file = board::fileOf(square);
    full[square] = half[7 - board::rankOf(square)][file < 4 ? file : 7 - file];
  }
  return full;
}

constexpr PieceSquareTable buildPieceSquare() {
  PieceSquareTable table{};
  const HalfTable* halves[7][2] = {{nullptr, nullptr},     {&PAWN_MG, &PAWN_EG},
                                   {&KNIGHT_MG, &KNIGHT_EG}, {&BISHOP_MG, &BISHOP_EG},
                                   {&ROOK_MG, &ROOK_EG},     {&QUEEN_MG, &QUEEN_EG},
                                   {&KING_MG, &KING_EG}};
  for (int type = board::PAWN; type <= board::KING; ++type)
    for (int phase = PHASE_MG; phase <= PHASE_EG; ++phase)
      table[type][phase] = expandHalf(*halves[type][phase]);
  return table;
}

}  // namespace detail

inline constexpr PieceSquareTable PieceSquare = detail::buildPieceSquare();

}  // namespace eval

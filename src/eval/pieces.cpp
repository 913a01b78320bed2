// Piece activity: mobility, attacks on the enemy king zone, outposts, bishop and rook terms, minor
// piece terms and piece pairs; records our attack sets for the threat pass.
#include "board/attacks.h"
#include "eval/terms.h"

namespace eval::detail {

namespace {

using board::Bitboard;
using platform::popcount;
using platform::popLsb;

constexpr int KNIGHT_MOBILITY[9][2] = {{-52, -32}, {-45, -27}, {-34, -21}, {-18, -14}, {0, -7},
                                       {18, 0},    {34, 7},    {45, 14},   {52, 21}};
constexpr int BISHOP_MOBILITY[14][2] = {{-63, -50}, {-55, -45}, {-41, -38}, {-22, -30}, {0, -21},
                                        {22, -11},  {41, 0},    {55, 11},   {63, 21},   {68, 30},
                                        {70, 38},   {72, 45},   {73, 50},   {73, 54}};
constexpr int ROOK_MOBILITY[15][2] = {{-49, -74}, {-34, -70}, {-17, -66}, {0, -60}, {17, -54},
                                      {34, -45},  {49, -35},  {61, -24},  {70, -12}, {78, 0},
                                      {83, 12},   {87, 24},   {90, 35},   {92, 45},  {93, 54}};
constexpr int QUEEN_MOBILITY[28][2] = {
    {-40, -66}, {-39, -64}, {-37, -61}, {-34, -59}, {-30, -56}, {-24, -52}, {-17, -49},
    {-9, -45},  {0, -41},   {9, -37},   {17, -32},  {24, -27},  {30, -22},  {34, -16},
    {37, -11},  {39, -5},   {40, 0},    {41, 5},    {41, 11},   {42, 16},   {42, 22},
    {42, 27},   {42, 32},   {42, 37},   {42, 41},   {42, 45},   {42, 49},   {42, 52}};

// King-zone weights: {adjacent mg, adjacent eg, other mg, other eg}.
struct ZoneWeights {
  int adjacentMg, adjacentEg, otherMg, otherEg;
};
constexpr ZoneWeights KNIGHT_ZONE = {160, 1, 20, 1};
constexpr ZoneWeights BISHOP_ZONE = {120, 1, 1, 1};
constexpr ZoneWeights ROOK_ZONE = {108, 1, 35, 1};
constexpr ZoneWeights QUEEN_ZONE = {73, 180, 1, 43};

// Files b to g of ranks 4, 5 and 6.
constexpr Bitboard OUTPOST_SQUARES = 0x00007E7E7E000000ULL;
constexpr int KNIGHT_OUTPOST = 81;
constexpr int BISHOP_OUTPOST = 22;

constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAULL;
constexpr Bitboard DARK_SQUARES = 0xAA55AA55AA55AA55ULL;
constexpr int BAD_BISHOP_PAWN = 17;
constexpr int TRAPPED = 167;

constexpr int MINOR_PAWN_DEFENDED = 1;
constexpr int MINOR_IN_OWN_ZONE = 20;
constexpr int MINOR_PAWN_SHIELD = 14;

constexpr int ROOK_HALF_OPEN = 37;
constexpr int ROOK_OPEN = 74;

constexpr int BISHOP_PAIR = 153;
constexpr int KNIGHT_PAIR = -24;
constexpr int ROOK_PAIR = -14;

constexpr int A1 = 0, B1 = 1, C1 = 2, F1 = 5, G1 = 6, H1 = 7;
constexpr int B6 = 41, G6 = 46, A7 = 48, H7 = 55;

// Everything one pass accumulates before it is added.
struct PassSums {
  int mobilityMg = 0, mobilityEg = 0;
  int kingMg = 0, kingEg = 0;
  int attackerCount = 0;
  int pos = 0;
};

inline void zoneAttack(Bitboard attacks, Bitboard kingAdjacent, Bitboard theirZone,
                       const ZoneWeights& w, PassSums& sums) {
  if (!(attacks & theirZone)) return;
  ++sums.attackerCount;
  const int adjacent = popcount(attacks & kingAdjacent);
  const int other = popcount(attacks & theirZone & ~kingAdjacent);
  sums.kingMg += w.adjacentMg * adjacent + w.otherMg * other;
  sums.kingEg += w.adjacentEg * adjacent + w.otherEg * other;
}

template <int N>
inline void mobility(Bitboard attacks, Bitboard area, const int (&table)[N][2], PassSums& sums) {
  const int n = popcount(attacks & area);
  sums.mobilityMg += table[n][0];
  sums.mobilityEg += table[n][1];
}

// No square of the piece's file from the piece upwards is attacked by an enemy pawn.
inline bool safeFromPawns(int square, Bitboard theirPawnAttacks) {
  const Bitboard upwards = (board::FILE_A << board::fileOf(square)) & (~Bitboard(0) << square);
  return !(upwards & theirPawnAttacks);
}

}  // namespace

template <bool TRACE>
Accumulator piecePass(const BoardView& v, SideAttacks& ours, EvalTrace* trace) {
  const Bitboard P = v.pawns & v.us;
  const Bitboard E = v.pawns & v.them;
  const Bitboard ourPawnAttacks = board::pawnAttacksUp(P);
  const Bitboard theirPawnAttacks = board::pawnAttacksDown(E);
  const int ourKing = platform::lsb(v.kings & v.us);
  const int theirKing = platform::lsb(v.kings & v.them);
  const Bitboard kingAdjacent = board::kingAttacks[theirKing];
  const Bitboard theirZone = kingAdjacent | (kingAdjacent >> 8);
  const Bitboard ourKingAttacks = board::kingAttacks[ourKing];
  const Bitboard ourZone = ourKingAttacks | (ourKingAttacks << 8);
  const Bitboard area = ~v.occ & ~theirPawnAttacks;

  const Bitboard ourKnights = v.knights & v.us;
  const Bitboard ourBishops = v.bishops & v.us;
  const Bitboard ourRooks = v.rooks & v.us;
  const Bitboard ourQueens = v.queens & v.us;

  PassSums sums;
  ours.pawn = ourPawnAttacks;
  ours.knight = ours.bishop = ours.rook = ours.queen = 0;
  ours.kingZone = ourZone;

  for (Bitboard b = ourKnights; b;) {
    const int square = popLsb(b);
    const Bitboard attacks = board::knightAttacks[square];
    ours.knight |= attacks;
    zoneAttack(attacks, kingAdjacent, theirZone, KNIGHT_ZONE, sums);
    mobility(attacks, area, KNIGHT_MOBILITY, sums);
    if ((ourPawnAttacks & board::bit(square)) && (OUTPOST_SQUARES & board::bit(square)) &&
        safeFromPawns(square, theirPawnAttacks))
      sums.pos += KNIGHT_OUTPOST;
  }

  const Bitboard bishopOcc = v.occ & ~ourQueens;  // our bishops see through our queens
  for (Bitboard b = ourBishops; b;) {
    const int square = popLsb(b);
    const Bitboard attacks = board::bishopAttacks(square, bishopOcc);
    ours.bishop |= attacks;
    zoneAttack(attacks, kingAdjacent, theirZone, BISHOP_ZONE, sums);
    mobility(attacks, area, BISHOP_MOBILITY, sums);
    const Bitboard sameColour = (LIGHT_SQUARES & board::bit(square)) ? LIGHT_SQUARES : DARK_SQUARES;
    sums.pos -= BAD_BISHOP_PAWN * popcount(P & sameColour);
    if ((ourPawnAttacks & board::bit(square)) && (OUTPOST_SQUARES & board::bit(square)) &&
        safeFromPawns(square, theirPawnAttacks))
      sums.pos += BISHOP_OUTPOST;
    if ((square == A7 && (E & board::bit(B6))) || (square == H7 && (E & board::bit(G6))))
      sums.pos -= TRAPPED;
  }

  const Bitboard minors = ourKnights | ourBishops;
  sums.pos += MINOR_PAWN_DEFENDED * popcount(minors & ourPawnAttacks) +
              MINOR_IN_OWN_ZONE * popcount(minors & ourZone) +
              MINOR_PAWN_SHIELD * popcount(P & (minors << 8));

  const Bitboard straightOcc = v.occ & ~(ourRooks | ourQueens);
  for (Bitboard b = ourRooks; b;) {
    const int square = popLsb(b);
    const Bitboard attacks = board::rookAttacks(square, straightOcc);
    ours.rook |= attacks;
    zoneAttack(attacks, kingAdjacent, theirZone, ROOK_ZONE, sums);
    mobility(attacks, area, ROOK_MOBILITY, sums);
    const Bitboard above =
        (board::FILE_A << board::fileOf(square)) & (~Bitboard(1) << square) & v.pawns;
    if (!(above & P)) {
      sums.pos += (above & E) ? ROOK_HALF_OPEN : ROOK_OPEN;
    } else if (((square == G1 || square == H1) && (ourKing == F1 || ourKing == G1)) ||
               ((square == A1 || square == B1) && (ourKing == B1 || ourKing == C1))) {
      sums.pos -= TRAPPED;
    }
  }

  const Bitboard diagonalOcc = v.occ & ~(ourBishops | ourQueens);
  for (Bitboard b = ourQueens; b;) {
    const int square = popLsb(b);
    const Bitboard attacks =
        board::rookAttacks(square, straightOcc) | board::bishopAttacks(square, diagonalOcc);
    ours.queen |= attacks;
    zoneAttack(attacks, kingAdjacent, theirZone, QUEEN_ZONE, sums);
    mobility(attacks, area, QUEEN_MOBILITY, sums);
  }

  if (popcount(ourBishops) >= 2) sums.pos += BISHOP_PAIR;
  if (popcount(ourKnights) >= 2) sums.pos += KNIGHT_PAIR;
  if (popcount(ourRooks) >= 2) sums.pos += ROOK_PAIR;

  ours.king = ourKingAttacks;
  ours.all = ours.pawn | ours.knight | ours.bishop | ours.rook | ours.queen | ours.king;

  int kingMg = 0;
  int kingEg = 0;
  const int n = sums.attackerCount;
  if (n == 1) {
    kingMg = sums.kingMg >> 2;
    kingEg = sums.kingEg >> 2;
  } else if (n >= 2) {
    kingMg = sums.kingMg * (n - 1) / n;
    kingEg = sums.kingEg * (n - 1) / n;
  }

  if constexpr (TRACE) {
    addTrace(trace, TERM_MOBILITY, v.colour, sums.mobilityMg, sums.mobilityEg);
    addTrace(trace, TERM_KING_ATTACK, v.colour, kingMg, kingEg);
    addTrace(trace, TERM_PIECES, v.colour, sums.pos, sums.pos);
  }
  return {sums.mobilityMg + kingMg + sums.pos, sums.mobilityEg + kingEg + sums.pos};
}

template Accumulator piecePass<false>(const BoardView&, SideAttacks&, EvalTrace*);
template Accumulator piecePass<true>(const BoardView&, SideAttacks&, EvalTrace*);

}  // namespace eval::detail

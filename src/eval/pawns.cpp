// Pawn structure, passed and candidate pawns, king shelter and pawn storm: terms that depend only
// on the squares of the pawns and the kings, so the frame caches their sum under the pawn key.
#include <algorithm>
#include <cstdlib>

#include "eval/terms.h"

namespace eval::detail {

namespace {

using board::FILE_A;
using board::NOT_FILE_A;
using board::NOT_FILE_H;
using platform::lsb;
using platform::popcount;
using platform::popLsb;

constexpr int ISLAND = 39;
constexpr int DEFENDED = 25;
constexpr int UNCONNECTED = 33;
constexpr int CANDIDATE = 7;
constexpr int PASSED_MG = 59;
constexpr int PASSED_EG = 59;
constexpr int PASSED_THEIR_KING = 20;
constexpr int PASSED_OUR_KING = 10;

constexpr int DOUBLED[8] = {19, 20, 21, 23, 23, 21, 20, 19};
constexpr int ISOLATED[8] = {35, 43, 51, 60, 60, 51, 43, 35};
constexpr int CHAIN_BASE[8] = {12, 20, 28, 37, 37, 28, 20, 12};

// Shelter by the rank index of the lowest own pawn on a file (1 = second rank), for the inner,
// middle and outer file; index 4 stands for the fifth rank and beyond.
constexpr int SHELTER_PAWN[5][3] = {{0, 0, 0}, {110, 158, 81}, {55, 105, 77}, {1, 1, 21}, {0, 0, 0}};
constexpr int SHELTER_OPEN_THEIRS[3] = {-21, -17, -51};  // no own pawn, an enemy pawn on the file
constexpr int SHELTER_OPEN[3] = {-13, -20, -50};         // no pawn of either side on the file
constexpr int STORM_STEP[3] = {28, 47, 26};              // per rank the enemy pawn has come closer
constexpr Bitboard STORM_RANKS = board::RANK_3 | board::RANK_4 | board::RANK_5;

constexpr Bitboard southFill(Bitboard b) {
  b |= b >> 8;
  b |= b >> 16;
  return b | (b >> 32);
}
constexpr Bitboard northFill(Bitboard b) {
  b |= b << 8;
  b |= b << 16;
  return b | (b << 32);
}
// Every square of the files whose bits are set in the low byte.
constexpr Bitboard filesOf(unsigned fileBits) { return Bitboard(fileBits & 0xFF) * FILE_A; }

inline int distance(int a, int b) {
  return std::max(std::abs(board::rankOf(a) - board::rankOf(b)),
                  std::abs(board::fileOf(a) - board::fileOf(b)));
}

// Our king's shelter and the enemy storm on the three files in front of it (middle game only).
int kingShelter(Bitboard ours, Bitboard theirs, int kingSquare) {
  const int k = board::fileOf(kingSquare);
  int files[3];  // inner, middle, outer
  if (k == 0) {
    files[0] = 2, files[1] = 1, files[2] = 0;
  } else if (k <= 3) {
    files[0] = k + 1, files[1] = k, files[2] = k - 1;
  } else if (k <= 6) {
    files[0] = k - 1, files[1] = k, files[2] = k + 1;
  } else {
    files[0] = 5, files[1] = 6, files[2] = 7;
  }
  int16_t shelter = 0;
  for (int i = 0; i < 3; ++i) {
    const Bitboard file = FILE_A << files[i];
    const Bitboard own = ours & file;
    if (own)
      shelter += SHELTER_PAWN[std::min(board::rankOf(lsb(own)), 4)][i];
    else
      shelter += (theirs & file) ? SHELTER_OPEN_THEIRS[i] : SHELTER_OPEN[i];
    const Bitboard storm = theirs & file & STORM_RANKS;
    if (storm) shelter -= STORM_STEP[i] * (5 - board::rankOf(lsb(storm)));
  }
  return shelter;
}

}  // namespace

Bitboard passedPawns(Bitboard ours, Bitboard theirs) {
  const Bitboard frontMost = ours & ~southFill(ours >> 8);
  const Bitboard theirFrontSpan = southFill(theirs);
  const Bitboard theirAttackSpan = southFill(board::pawnAttacksDown(theirs));
  return frontMost & ~theirFrontSpan & ~theirAttackSpan;
}

template <bool TRACE>
Accumulator pawnPass(const BoardView& v, EvalTrace* trace) {
  const Bitboard P = v.pawns & v.us;
  const Bitboard E = v.pawns & v.them;
  const int ourKing = lsb(v.kings & v.us);
  const int theirKing = lsb(v.kings & v.them);

  int common = 0;

  // Islands and isolated pawns from the set of files that hold our pawns.
  const unsigned fileBits = unsigned(southFill(P) & 0xFF);
  common -= ISLAND * popcount(fileBits & ~(fileBits << 1));
  const unsigned neighbourFiles = ((fileBits << 1) | (fileBits >> 1)) & 0xFF;
  const Bitboard isolated = P & filesOf(fileBits & ~neighbourFiles);
  for (Bitboard b = isolated; b;) common -= ISOLATED[board::fileOf(popLsb(b))];

  const Bitboard rear = southFill(P >> 8);
  for (Bitboard b = P & rear; b;) common -= DOUBLED[board::fileOf(popLsb(b))];

  const Bitboard attacked = P & board::pawnAttacksUp(P);
  const Bitboard attacking = P & board::pawnAttacksDown(P);
  const Bitboard beside = P & (((P << 1) & NOT_FILE_A) | ((P >> 1) & NOT_FILE_H));
  common += DEFENDED * popcount(attacked);
  common -= UNCONNECTED * popcount(P & ~(attacked | attacking | beside | isolated));
  for (Bitboard b = attacking & ~attacked & ~beside; b;)
    common -= CHAIN_BASE[board::fileOf(popLsb(b))];

  const Bitboard frontMost = P & ~rear;
  const Bitboard theirFrontSpan = southFill(E);
  const Bitboard theirAttackSpan = southFill(board::pawnAttacksDown(E));

  // Candidates: no enemy pawn in front, but enemy pawns control squares ahead; we control as many.
  int candidates = 0;
  const Bitboard theirLeft = (E >> 9) & NOT_FILE_H;
  const Bitboard theirRight = (E >> 7) & NOT_FILE_A;
  const Bitboard ourLeft = (P << 7) & NOT_FILE_H;
  const Bitboard ourRight = (P << 9) & NOT_FILE_A;
  for (Bitboard b = frontMost & ~theirFrontSpan & theirAttackSpan; b;) {
    const int square = popLsb(b);
    const Bitboard ahead = northFill(board::bit(square) << 8);
    const int theirCount = popcount(ahead & theirLeft) + popcount(ahead & theirRight);
    const int ourCount = popcount(ahead & ourLeft) + popcount(ahead & ourRight);
    if (theirCount <= ourCount) candidates += CANDIDATE * board::rankOf(square);
  }

  int passedMg = 0;
  int passedEg = 0;
  for (Bitboard b = frontMost & ~theirFrontSpan & ~theirAttackSpan; b;) {
    const int square = popLsb(b);
    const int r = board::rankOf(square);
    const int stop = square + 8;
    passedMg += PASSED_MG * r;
    const int16_t factor = int16_t(PASSED_EG + PASSED_THEIR_KING * distance(theirKing, stop) -
                                   PASSED_OUR_KING * distance(ourKing, stop));
    passedEg += r * factor;
  }

  const int shelter = kingShelter(P, E, ourKing);

  const int mg = common + candidates + passedMg + shelter;
  const int eg = common + candidates + passedEg;
  if constexpr (TRACE) addTrace(trace, TERM_PAWNS, v.colour, mg, eg);
  return {mg, eg};
}

template Accumulator pawnPass<false>(const BoardView&, EvalTrace*);
template Accumulator pawnPass<true>(const BoardView&, EvalTrace*);

}  // namespace eval::detail

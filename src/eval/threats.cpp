// Threats against the enemy pieces, safe checking squares, sliders lined up on the enemy king
// behind one piece, and the path of our passed pawns. Runs after both sides' piece passes.
#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "eval/terms.h"

namespace eval::detail {

namespace {

using board::Bitboard;
using platform::lsb;
using platform::msb;
using platform::popcount;
using platform::popLsb;

constexpr int UNDEFENDED_TARGET = 46;

// Threat weights by attacking class (pawns; knights and bishops; rooks and queens; king) and the
// attacked piece's type (pawn to queen).
constexpr int THREAT[4][6] = {{0, 4, 145, 104, 208, 208},
                              {0, 14, 45, 63, 120, 116},
                              {0, 13, 20, 43, 15, 39},
                              {0, 81, 45, 33, 24, 26}};

constexpr int CHECK_WEIGHT[8] = {0, 0, 17, 29, 111, 180, 0, 0};

constexpr int UNSTOPPABLE = 28;
constexpr int PATH_BLOCKED = 35;
constexpr int PATH_UNSAFE = 34;

inline int threatsBy(const BoardView& v, Bitboard targets, Bitboard undefended, const int (&weights)[6]) {
  if (!targets) return 0;
  return UNDEFENDED_TARGET * popcount(targets & undefended) +
         weights[board::PAWN] * popcount(targets & v.pawns) +
         weights[board::KNIGHT] * popcount(targets & v.knights) +
         weights[board::BISHOP] * popcount(targets & v.bishops) +
         weights[board::ROOK] * popcount(targets & v.rooks) +
         weights[board::QUEEN] * popcount(targets & v.queens);
}

inline int typeOf(const BoardView& v, int square) {
  const Bitboard b = board::bit(square);
  if (v.queens & b) return board::QUEEN;
  if (v.rooks & b) return board::ROOK;
  if (v.bishops & b) return board::BISHOP;
  if (v.knights & b) return board::KNIGHT;
  if (v.pawns & b) return board::PAWN;
  return (v.kings & b) ? board::KING : 0;
}

}  // namespace

template <bool TRACE>
Accumulator threatPass(const BoardView& v, const SideAttacks& ours, Bitboard theirAll, EvalTrace* trace) {
  const Bitboard undefended = ~theirAll;
  const Bitboard targets = v.them & ~v.kings;
  const int theirKing = lsb(v.kings & v.them);

  // Threats, once per attacking set.
  int threats = threatsBy(v, targets & ours.pawn, undefended, THREAT[0]) +
                threatsBy(v, targets & ours.knight, undefended, THREAT[1]) +
                threatsBy(v, targets & ours.bishop, undefended, THREAT[1]) +
                threatsBy(v, targets & ours.rook, undefended, THREAT[2]) +
                threatsBy(v, targets & ours.queen, undefended, THREAT[2]) +
                threatsBy(v, targets & ours.king, undefended, THREAT[3]);

  // Safe checks: squares from which a piece of ours could check, that they do not defend.
  const Bitboard safe = undefended & ~v.us;
  const Bitboard knightChecks = board::knightAttacks[theirKing];
  const Bitboard bishopChecks = board::bishopAttacks(theirKing, v.occ);
  const Bitboard rookChecks = board::rookAttacks(theirKing, v.occ);
  int mgOnly = CHECK_WEIGHT[board::KNIGHT] * popcount(knightChecks & ours.knight & safe) +
               CHECK_WEIGHT[board::BISHOP] * popcount(bishopChecks & ours.bishop & safe) +
               CHECK_WEIGHT[board::ROOK] * popcount(rookChecks & ours.rook & safe) +
               CHECK_WEIGHT[board::QUEEN] * popcount((rookChecks | bishopChecks) & ours.queen & safe);

  // Pins and x-rays along ranks and files: the first piece on each line from their king (other
  // than a rook or queen) is a blocker; our rooks and queens that see the king through blockers.
  const Bitboard straight = v.rooks | v.queens;
  const Bitboard straightBlockers = rookChecks & v.occ & ~straight;
  if (straightBlockers) {
    const Bitboard minorBlockers = straightBlockers & (v.knights | v.bishops | v.kings);
    const Bitboard xrays =
        board::rookAttacks(theirKing, v.occ & ~straightBlockers) & straight & v.us;
    for (Bitboard b = xrays; b;) {
      const int square = popLsb(b);
      const int direction = board::directionBetween(theirKing, square);
      if ((minorBlockers & board::lineBetween(square, theirKing)) || direction == 0 || direction == 1)
        mgOnly += CHECK_WEIGHT[typeOf(v, square)];
    }
  }

  // The same along diagonals, where a blocker of any type counts.
  const Bitboard diagonal = v.bishops | v.queens;
  const Bitboard diagonalBlockers = bishopChecks & v.occ & ~diagonal;
  if (diagonalBlockers) {
    const Bitboard xrays =
        board::bishopAttacks(theirKing, v.occ & ~diagonalBlockers) & diagonal & v.us;
    for (Bitboard b = xrays; b;) {
      const int square = popLsb(b);
      if (diagonalBlockers & board::lineBetween(square, theirKing))
        mgOnly += CHECK_WEIGHT[typeOf(v, square)];
    }
  }

  // Passed pawns: unstoppable against a bare king with pawns, and the squares in front.
  int path = 0;
  const Bitboard P = v.pawns & v.us;
  const Bitboard E = v.pawns & v.them;
  const Bitboard passed = passedPawns(P, E);
  if (passed) {
    const bool onlyPawns = (v.them & ~(v.pawns | v.kings)) == 0;
    for (Bitboard b = passed; b;) {
      const int square = popLsb(b);
      const int r = board::rankOf(square);
      const int file = board::fileOf(square);
      if (onlyPawns) {
        const int d = std::max(std::abs(file - board::fileOf(theirKing)), 7 - board::rankOf(theirKing));
        if ((7 - r) + v.tempoSide < d) path += UNSTOPPABLE * r;
      }
      const Bitboard fileMask = board::FILE_A << file;
      const Bitboard front = fileMask & (~Bitboard(1) << square);
      Bitboard attacked = front & theirAll;
      Bitboard covered = front & ours.all;
      const Bitboard behind = fileMask & v.occ & (board::bit(square) - 1);
      if (behind) {
        const Bitboard nearest = board::bit(msb(behind));
        if (nearest & straight) {
          if (nearest & v.them)
            attacked = front;
          else
            covered = front;
        }
      }
      const Bitboard stops = front & (v.occ | (attacked & ~covered));
      if (stops) path -= ((v.occ & board::bit(lsb(stops))) ? PATH_BLOCKED : PATH_UNSAFE) * r;
    }
  }

  if constexpr (TRACE) {
    addTrace(trace, TERM_THREATS, v.colour, threats + mgOnly, threats);
    addTrace(trace, TERM_PASSED_PATH, v.colour, path, path);
  }
  return {threats + mgOnly + path, threats + path};
}

template Accumulator threatPass<false>(const BoardView&, const SideAttacks&, Bitboard, EvalTrace*);
template Accumulator threatPass<true>(const BoardView&, const SideAttacks&, Bitboard, EvalTrace*);

}  // namespace eval::detail

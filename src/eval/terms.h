#pragma once
// Internal to the evaluation: the board as one side sees it, the per-side attack record, and the
// passes that add one side's terms. Every pass is written once, for us = the side to move of the
// orientation it is given, playing up the board; the frame runs it for both sides.
#include "board/position.h"
#include "board/types.h"
#include "eval/eval.h"

namespace eval::detail {

using board::Bitboard;

// The pieces of one orientation of the board (us play up the board). The opponent's orientation is
// the byte reversal of every set with us and them exchanged.
struct BoardView {
  Bitboard us, them, occ;
  Bitboard pawns, knights, bishops, rooks, queens, kings;
  int colour;     // real colour of us: WHITE or BLACK
  int tempoSide;  // 0 when us is the real side to move, 1 for the opponent
};

inline BoardView makeView(const board::BoardState& s) {
  BoardView v;
  v.us = s.bb[0];
  v.occ = board::occupied(s);
  v.them = v.occ ^ v.us;
  v.pawns = board::pawns(s);
  v.knights = board::knights(s);
  v.bishops = board::bishops(s);
  v.rooks = board::rooks(s);
  v.queens = board::queens(s);
  v.kings = board::kings(s);
  v.colour = board::blackToMove(s) ? BLACK : WHITE;
  v.tempoSide = 0;
  return v;
}

// The other side's view of the same board.
inline BoardView flipView(const BoardView& v) {
  using platform::byteSwap;
  BoardView f;
  f.us = byteSwap(v.them);
  f.them = byteSwap(v.us);
  f.occ = byteSwap(v.occ);
  f.pawns = byteSwap(v.pawns);
  f.knights = byteSwap(v.knights);
  f.bishops = byteSwap(v.bishops);
  f.rooks = byteSwap(v.rooks);
  f.queens = byteSwap(v.queens);
  f.kings = byteSwap(v.kings);
  f.colour = v.colour ^ 1;
  f.tempoSide = v.tempoSide ^ 1;
  return f;
}

// One side's attacks, in the orientation of the pass that filled them.
struct SideAttacks {
  Bitboard pawn, knight, bishop, rook, queen, king;
  Bitboard all;       // union of the six
  Bitboard kingZone;  // own king's attack squares and the same set one rank further up
};

// Middle-game and end-game sums of one side's terms.
struct Accumulator {
  int mg = 0;
  int eg = 0;
};

inline void addTrace(EvalTrace* trace, EvalTerm term, int colour, int mg, int eg) {
  trace->terms[term][colour][0] += mg;
  trace->terms[term][colour][1] += eg;
}

// Passed pawns of us: front-most pawns with no enemy pawn in front of them on their file and none
// that attacks them now or after advancing.
Bitboard passedPawns(Bitboard ours, Bitboard theirs);

// Our pawn-structure and king-shelter terms.
template <bool TRACE>
Accumulator pawnPass(const BoardView& v, EvalTrace* trace);

// Our mobility, king-attack and piece terms; fills our attack record.
template <bool TRACE>
Accumulator piecePass(const BoardView& v, SideAttacks& ours, EvalTrace* trace);

// Our threats, safe checks, pins and passed-pawn path terms; theirAll is the other side's
// all-attacks set in this orientation.
template <bool TRACE>
Accumulator threatPass(const BoardView& v, const SideAttacks& ours, Bitboard theirAll, EvalTrace* trace);

}  // namespace eval::detail

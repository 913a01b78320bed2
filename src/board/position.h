#pragma once
// The position record and a thread's stack of records.
#include <array>
#include <cstdint>
#include <type_traits>

#include "board/types.h"

namespace board {

constexpr uint8_t FLAG_REPETITION = 1;  // this position repeats an earlier one
constexpr uint8_t FLAG_BLACK = 8;       // Black is to move
constexpr uint8_t FLAG_IN_CHECK = 128;  // the side to move is in check

constexpr uint8_t CASTLE_OWN_QUEEN = 1;  // side to move, rook on square 0
constexpr uint8_t CASTLE_OWN_KING = 2;   // side to move, rook on square 7
constexpr uint8_t CASTLE_OPP_QUEEN = 16;  // opponent, rook on square 56
constexpr uint8_t CASTLE_OPP_KING = 32;   // opponent, rook on square 63

constexpr uint8_t NO_EP_FILE = 8;

// ---- castling, standard and Chess960 ----
// The king ends on g1 (king side) or c1 (queen side) and its rook beside it on f1 or d1, wherever
// they started on the back rank. A castling move word is the king's move from its square to g1 or c1
// with MOVE_CASTLING; the rook's square comes from the game's rule.
constexpr int QUEEN_SIDE = 0;
constexpr int KING_SIDE = 1;

struct CastlingRule {
  int kingSquare;        // in the castling side's own view: the back rank is rank 0
  int rookSquare;
  Bitboard mustBeEmpty;  // squares between king and rook and their destinations, both pieces excepted
  Bitboard kingPath;     // squares the king crosses and lands on (its own square when it stays)
};

constexpr int castlingKingTo(int side) { return side == KING_SIDE ? 6 : 2; }
constexpr int castlingRookTo(int side) { return side == KING_SIDE ? 5 : 3; }

// Squares from a to b on the back rank, both included.
constexpr Bitboard backRankSpan(int a, int b) {
  const int low = a < b ? a : b, high = a < b ? b : a;
  return ((Bitboard(2) << high) - 1) & ~((Bitboard(1) << low) - 1);
}

constexpr CastlingRule makeCastlingRule(int kingFile, int rookFile, int side) {
  const int kingTo = castlingKingTo(side), rookTo = castlingRookTo(side);
  const Bitboard pieces = (Bitboard(1) << kingFile) | (Bitboard(1) << rookFile);
  const Bitboard path = kingFile == kingTo ? Bitboard(1) << kingTo : backRankSpan(kingFile, kingTo) & ~(Bitboard(1) << kingFile);
  return {kingFile, rookFile, (backRankSpan(kingFile, kingTo) | backRankSpan(rookFile, rookTo)) & ~pieces, path};
}

// The castling rules of the game, by colour (0 White, 1 Black) and side. setupFromFen sets them from
// the position's kings, rooks and rights; they stay fixed while a search runs.
extern std::array<std::array<CastlingRule, 2>, 2> castlingRules;
// Whether castling is written as the king taking its own rook ("e1h1"): set for a position whose
// castling king or rooks stand elsewhere than e1/a1/h1 (e8/a8/h8), and by the UCI_Chess960 option.
extern bool chess960;
// Whether every castling rule is the standard one (king on e1, rooks on a1 and h1): the common case,
// which the generators handle with fixed squares.
extern bool standardCastling;
// The move number of the last position set up from a FEN (its sixth field, 1 when absent).
extern int fenMoveNumber;

// One position, always seen from the side to move: its pieces play up the board and, when Black is
// to move, every square is the real square with its rank mirrored (XOR 56). Seven 64-bit words:
//   bb[0]  the side to move's pieces
//   bb[1]  squares whose piece type has bit 0 set (pawn, bishop, queen)
//   bb[2]  ... bit 1 set (knight, bishop, king)
//   bb[3]  ... bit 2 set (rook, queen, king)
//   flags, castling (own rights in the low nibble), epFile (8 = none), halfmoveClock,
//   psqMg/psqEg (material + placement, own minus opponent's), key, pawnKey.
struct BoardState {
  Bitboard bb[4];
  uint8_t flags;
  uint8_t castling;
  uint8_t epFile;
  uint8_t halfmoveClock;
  int16_t psqMg;
  int16_t psqEg;
  uint64_t key;
  uint64_t pawnKey;
};
static_assert(sizeof(BoardState) == 7 * 8);
static_assert(std::is_trivially_copyable_v<BoardState>);

constexpr int MAX_STATES = 256;

// A thread's stack of records. states[0] is where a position is set up; the records below current
// are the positions before it, one per half-move. Not copyable: current points into states.
struct Position {
  std::array<BoardState, MAX_STATES> states;
  BoardState* current = states.data();

  Position() = default;
  Position(const Position&) = delete;
  Position& operator=(const Position&) = delete;
};

inline BoardState& currentState(Position& pos) { return *pos.current; }
inline const BoardState& currentState(const Position& pos) { return *pos.current; }

// Copies the current record into the next slot and makes that slot current.
inline void pushCopy(Position& pos) {
  pos.current[1] = pos.current[0];
  ++pos.current;
}

// Makes the previous slot current.
inline void pop(Position& pos) { --pos.current; }

// Index of the current record within states.
inline int stackIndex(const Position& pos) { return int(pos.current - pos.states.data()); }

// Turns a record to the other side's view in place; applying it twice restores it bit for bit.
void mirrorPosition(BoardState& state);

// Copies the halfmoveClock + 1 records ending with the source's current record to the bottom of the
// destination and points the destination's current at the copy (never reaching below states[0]).
void copyPosition(const Position& source, Position& destination);

// ---- derived piece sets of a record ----
inline Bitboard occupied(const BoardState& s) { return s.bb[1] | s.bb[2] | s.bb[3]; }
inline Bitboard ownPieces(const BoardState& s) { return s.bb[0]; }
inline Bitboard opponentPieces(const BoardState& s) { return occupied(s) ^ s.bb[0]; }
inline Bitboard pawns(const BoardState& s) { return s.bb[1] & ~s.bb[2] & ~s.bb[3]; }
inline Bitboard knights(const BoardState& s) { return s.bb[2] & ~s.bb[1] & ~s.bb[3]; }
inline Bitboard bishops(const BoardState& s) { return s.bb[1] & s.bb[2]; }
inline Bitboard rooks(const BoardState& s) { return s.bb[3] & ~(s.bb[1] | s.bb[2]); }
inline Bitboard queens(const BoardState& s) { return s.bb[1] & s.bb[3]; }
inline Bitboard kings(const BoardState& s) { return s.bb[2] & s.bb[3]; }
inline Bitboard diagonalMovers(const BoardState& s) { return s.bb[1] & (s.bb[2] | s.bb[3]); }
inline Bitboard straightMovers(const BoardState& s) { return s.bb[3] & (s.bb[1] | ~s.bb[2]); }
inline int pieceOn(const BoardState& s, int square) {
  return int(((s.bb[3] >> square) & 1) * 4 + ((s.bb[2] >> square) & 1) * 2 + ((s.bb[1] >> square) & 1));
}
inline int ownKingSquare(const BoardState& s) { return platform::lsb(kings(s) & s.bb[0]); }
inline int opponentKingSquare(const BoardState& s) { return platform::lsb(kings(s) & ~s.bb[0]); }
inline bool blackToMove(const BoardState& s) { return (s.flags & FLAG_BLACK) != 0; }
inline bool isInCheck(const BoardState& s) { return (s.flags & FLAG_IN_CHECK) != 0; }

inline const CastlingRule& castlingRule(const BoardState& s, int side) {
  return castlingRules[(s.flags & FLAG_BLACK) >> 3][side];
}
inline Move castlingMove(const BoardState& s, int side) {
  return makeMoveWord(KING, castlingRule(s, side).kingSquare, castlingKingTo(side), 0, 0, MOVE_CASTLING);
}
// The side of a castling move: king side when the king goes to g1.
constexpr int castlingSide(Move m) { return moveTo(m) == 6 ? KING_SIDE : QUEEN_SIDE; }

}  // namespace board

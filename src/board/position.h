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

}  // namespace board

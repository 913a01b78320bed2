#include "board/position.h"

#include <algorithm>

#include "board/make_move.h"

namespace board {

std::array<std::array<CastlingRule, 2>, 2> castlingRules = {{
    {makeCastlingRule(4, 0, QUEEN_SIDE), makeCastlingRule(4, 7, KING_SIDE)},
    {makeCastlingRule(4, 0, QUEEN_SIDE), makeCastlingRule(4, 7, KING_SIDE)},
}};
bool chess960 = false;
bool standardCastling = true;
int fenMoveNumber = 1;

static_assert(makeCastlingRule(4, 7, KING_SIDE).mustBeEmpty == 0x60 && makeCastlingRule(4, 7, KING_SIDE).kingPath == 0x60);
static_assert(makeCastlingRule(4, 0, QUEEN_SIDE).mustBeEmpty == 0x0E && makeCastlingRule(4, 0, QUEEN_SIDE).kingPath == 0x0C);
static_assert(makeCastlingRule(6, 7, KING_SIDE).kingPath == 0x40 && makeCastlingRule(6, 7, KING_SIDE).mustBeEmpty == 0x20);

void mirrorPosition(BoardState& state) {
  state.bb[0] = platform::byteSwap(occupied(state) ^ state.bb[0]);
  state.bb[1] = platform::byteSwap(state.bb[1]);
  state.bb[2] = platform::byteSwap(state.bb[2]);
  state.bb[3] = platform::byteSwap(state.bb[3]);
  state.castling = uint8_t((state.castling >> 4) | (state.castling << 4));
  state.flags ^= FLAG_BLACK;
  const uint64_t sideKey = keyTable[KEY_SIDE].zobrist;
  state.key ^= sideKey;
  state.pawnKey ^= sideKey;
  state.psqMg = int16_t(-state.psqMg);
  state.psqEg = int16_t(-state.psqEg);
}

void copyPosition(const Position& source, Position& destination) {
  const int history = std::min<int>(source.current->halfmoveClock, stackIndex(source));
  const BoardState* first = source.current - history;
  std::copy(first, static_cast<const BoardState*>(source.current) + 1, destination.states.data());
  destination.current = destination.states.data() + history;
}

}  // namespace board

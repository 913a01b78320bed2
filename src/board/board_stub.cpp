// Placeholder until the board lands.
#include "board/attacks.h"
#include "board/make_move.h"
#include "board/position.h"

namespace board {

std::array<KeyEntry, KEY_TABLE_SIZE> keyTable;
void initKeyTable() {}
void initAttackTables() {}
void mirrorPosition(BoardState&) {}
void copyPosition(const Position&, Position&) {}

}  // namespace board

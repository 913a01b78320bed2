// Probing: the stored value of a position, the capture search on top of it, en passant, DTZ and the
// root filter.
#include <algorithm>

#include "board/make_move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "platform/output.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_internal.h"

namespace tb {

namespace {

constexpr int WDL_TO_DTZ[5] = {-1, -101, 0, 101, 1};
constexpr int WDL_TO_MAP[5] = {1, 3, 0, 2, 0};
constexpr uint8_t DTZ_HALVED_FLAG[5] = {8, 0, 0, 0, 4};

using board::Bitboard;
using board::BoardState;
using board::Move;
using board::Position;

// How a position maps onto a table stored for White as named: the stored side to move, the colour
// swap of piece codes and the square mirror.
struct Orientation {
  int bside = 0;
  int cmirror = 0;
  int mirror = 0;
};

Orientation orient(const TableEntry& e, const BoardState& s, uint64_t key) {
  const bool black = board::blackToMove(s);
  Orientation o;
  if (!e.symmetric) {
    if (key == e.key) {
      o.bside = black;
    } else {
      o.bside = !black;
      o.cmirror = 8;
      o.mirror = e.hasPawns ? 56 : 0;
    }
  } else if (black) {
    o.cmirror = 8;
    o.mirror = e.hasPawns ? 56 : 0;
  }
  return o;
}

// Appends the squares of every piece of the code's (swapped) colour and type; false when the board
// does not hold the table's material.
bool addSquares(const BoardState& s, const TableEntry& e, int code, int mirror, int* p, int& i) {
  Bitboard bb = piecesOf(s, (code & 8) != 0, code & 7);
  if (!bb) return false;
  while (bb) {
    if (i >= e.num) return false;
    p[i++] = platform::popLsb(bb) ^ mirror;
  }
  return true;
}

// Squares of the position in the table's piece order for side o.bside; sets the pawn file group.
bool fillSquares(const BoardState& s, const TableEntry& e, const Orientation& o, int* p, int& file) {
  int i = 0;
  file = 0;
  if (e.hasPawns) {
    if (!addSquares(s, e, e.fileTables[0].pieces[o.bside][0] ^ o.cmirror, o.mirror, p, i) ||
        i != e.pawns[0])
      return false;
    file = pawnFile(e, p);
  }
  const uint8_t* pc = e.fileTables[size_t(file)].pieces[o.bside];
  while (i < e.num)
    if (!addSquares(s, e, pc[i] ^ o.cmirror, o.mirror, p, i)) return false;
  return true;
}

uint64_t encode(const TableEntry& e, const Orientation& o, int file, int* p) {
  const FileTables& ft = e.fileTables[size_t(file)];
  return e.hasPawns ? encodePawns(e, ft.norm[o.bside], p, ft.factor[o.bside])
                    : encodePieces(e, ft.norm[o.bside], p, ft.factor[o.bside]);
}

// The stored WDL of the position (no captures or en passant considered).
bool probeWdlTable(Position& pos, int& value) {
  const BoardState& s = board::currentState(pos);
  const uint64_t key = materialKey(s, false);
  if (key == (board::keyTable[(board::KING + 8) * 64].zobrist ^ board::keyTable[board::KING * 64].zobrist)) {
    value = 0;
    return true;
  }
  HashSlot* slot = findSlot(key);
  if (!slot) return false;
  TableEntry& e = *slot->entry;
  if (!e.ready.load(std::memory_order_acquire) && !loadWdlTable(*slot)) return false;
  const Orientation o = orient(e, s, key);
  int p[TB_PIECES];
  int file;
  if (!fillSquares(s, e, o, p, file)) return false;
  const uint64_t index = encode(e, o, file, p);
  const PairsData& d = e.fileTables[size_t(file)].pairs[e.split ? o.bside : 0];
  int stored;
  if (!decompressValue(d, index, stored) || stored > 4) {
    disableTable(e);
    return false;
  }
  value = stored - 2;
  return true;
}

// Releases the DTZ table in cache slot 0 after its data failed a check.
void dropCorruptDtz() {
  dtzCache[0].table.reset();
  platform::printLine("info string Corrupted table.\n");
  platform::flushOut();
}

// The stored DTZ of the position for a position of value wdl. success: 1, 0 failed, or -1 when the
// table is stored for the other side to move.
int probeDtzTable(Position& pos, int wdl, int& success) {
  const BoardState& s = board::currentState(pos);
  const uint64_t key = materialKey(s, false);
  if (key != dtzCache[0].key1 && key != dtzCache[0].key2) {
    int found = 0;
    for (int i = 1; i < DTZ_ENTRIES && !found; ++i)
      if (dtzCache[size_t(i)].key1 == key && dtzCache[size_t(i)].key1 != 0) found = i;
    if (found) {
      std::rotate(dtzCache.begin(), dtzCache.begin() + found, dtzCache.begin() + found + 1);
    } else {
      loadDtzTable(pos, key);
    }
  }
  const TableEntry* e = dtzCache[0].table.get();
  if (!e || (key != dtzCache[0].key1 && key != dtzCache[0].key2)) {
    success = 0;
    return 0;
  }
  const Orientation o = orient(*e, s, key);
  int p[TB_PIECES];
  int file;
  if (!fillSquares(s, *e, o, p, file)) {
    success = 0;
    return 0;
  }
  const PairsData& d = e->fileTables[size_t(file)].pairs[0];
  if ((d.flags & 1) != o.bside && (e->hasPawns || !e->symmetric)) {
    success = -1;
    return 0;
  }
  const uint64_t index = encode(*e, o, file, p);
  int value;
  if (!decompressValue(d, index, value)) {
    dropCorruptDtz();
    success = 0;
    return 0;
  }
  if (d.flags & 2) {
    const uint64_t at = uint64_t(d.map - e->mapping.data) + d.mapIdx[WDL_TO_MAP[wdl + 2]] + uint64_t(value);
    if (at >= e->mapping.size) {
      dropCorruptDtz();
      success = 0;
      return 0;
    }
    value = e->mapping.data[at];
  }
  if (!(d.flags & DTZ_HALVED_FLAG[wdl + 2]) || (wdl & 1)) value *= 2;
  success = 1;
  return value;
}

// Whether the position stack has room for the probes' moves. Valid tables never come close; a
// damaged DTZ file that claims to be stored for the other side at every ply would otherwise recurse
// without end.
bool stackFull(const Position& pos) { return board::stackIndex(pos) >= board::MAX_STATES - 2; }

// Alpha-beta over captures on top of the stored values.
int probeAb(Position& pos, int alpha, int beta, int& success) {
  if (stackFull(pos)) {
    success = 0;
    return 0;
  }
  board::ScoredMove list[board::MAX_MOVES];
  board::ScoredMove* end = board::isInCheck(board::currentState(pos))
                               ? board::generateEvasions(pos, list)
                               : board::generateCaptures(pos, list);
  // Highest score first; of equal scores the one generated last first (an insertion sort of the
  // reversed list: no allocation).
  std::reverse(list, end);
  for (board::ScoredMove* it = list + 1; it < end; ++it) {
    const board::ScoredMove entry = *it;
    board::ScoredMove* at = it;
    for (; at > list && at[-1].score < entry.score; --at) *at = at[-1];
    *at = entry;
  }
  for (board::ScoredMove* it = list; it != end; ++it) {
    Move m = it->move;
    if (!(m & board::MOVE_CAPTURE) || (m & board::MOVE_EN_PASSANT)) continue;
    if (board::leavesKingAttacked(pos, m)) continue;
    board::markCheckCapture(pos, m);
    board::makeMove(pos, m);
    const int v = -probeAb(pos, -beta, -alpha, success);
    board::unmakeMove(pos);
    if (success == 0) return 0;
    if (v > alpha) {
      if (v >= beta) {
        success = 2;
        return v;
      }
      alpha = v;
    }
  }
  int v;
  if (!probeWdlTable(pos, v)) {
    success = 0;
    return 0;
  }
  if (alpha >= v) {
    success = 1 + (alpha > 0 ? 1 : 0);
    return alpha;
  }
  success = 1;
  return v;
}

// Best value of the en-passant captures (-3 when there is none) and whether every legal move is one.
int bestEnPassant(Position& pos, int& success, bool& onlyEnPassant) {
  Move moves[board::MAX_MOVES];
  Move* end = board::generateLegalMoves(pos, moves);
  int best = -3;
  onlyEnPassant = true;
  for (Move* m = moves; m != end; ++m) {
    if (!(*m & board::MOVE_EN_PASSANT)) {
      onlyEnPassant = false;
      continue;
    }
    board::makeMove(pos, *m);
    const int w = -probeAb(pos, -2, 2, success);
    board::unmakeMove(pos);
    if (success == 0) return -3;
    best = std::max(best, w);
  }
  return best;
}

int probeDtzNoEp(Position& pos, int& success) {
  if (stackFull(pos)) {
    success = 0;
    return 0;
  }
  success = 1;
  const int wdl = probeAb(pos, -2, 2, success);
  if (success == 0) return 0;
  if (wdl == 0) return 0;
  if (success == 2) return wdl == 2 ? 1 : 101;

  Move moves[board::MAX_MOVES];
  Move* end = board::generateLegalMoves(pos, moves);
  if (wdl > 0) {
    for (Move* m = moves; m != end; ++m) {
      if (board::movePiece(*m) != board::PAWN || (*m & board::MOVE_CAPTURE)) continue;
      board::makeMove(pos, *m);
      const int v = -probeAb(pos, -2, -wdl + 1, success);
      board::unmakeMove(pos);
      if (success == 0) return 0;
      if (v == wdl) return wdl == 2 ? 1 : 101;
    }
  }

  int dtz = 1 + probeDtzTable(pos, wdl, success);
  if (success >= 0) {
    if (wdl & 1) dtz += 100;
    return wdl > 0 ? dtz : -dtz;
  }

  // The table is stored for the other side to move: one ply deeper.
  if (wdl > 0) {
    int best = 0xFFFF;
    for (Move* m = moves; m != end; ++m) {
      if (board::movePiece(*m) == board::PAWN || (*m & board::MOVE_CAPTURE)) continue;
      board::makeMove(pos, *m);
      const int v = probeDtz(pos, success);
      board::unmakeMove(pos);
      if (success == 0) return 0;
      if (v < 0 && 1 - v < best) best = 1 - v;
    }
    success = 1;
    return best;
  }
  int best = -1;
  for (Move* m = moves; m != end; ++m) {
    board::makeMove(pos, *m);
    int v;
    if (board::currentState(pos).halfmoveClock == 0) {
      if (wdl == -2) {
        v = -1;
      } else {
        v = probeAb(pos, 1, 2, success);
        v = v == 2 ? 0 : -101;
      }
    } else {
      v = -probeDtz(pos, success) - 1;
    }
    board::unmakeMove(pos);
    if (success == 0) return 0;
    best = std::min(best, v);
  }
  success = 1;
  return best;
}

}  // namespace

int probeWdl(Position& pos, int& success) {
  success = 1;
  const int v = probeAb(pos, -2, 2, success);
  if (board::currentState(pos).epFile == board::NO_EP_FILE) return v;
  if (success == 0) return 0;
  bool onlyEnPassant;
  const int e = bestEnPassant(pos, success, onlyEnPassant);
  if (success == 0) return 0;
  if (e == -3) return v;
  if (e >= v) return e;
  if (v != 0) return v;
  return onlyEnPassant ? e : v;
}

int probeDtz(Position& pos, int& success) {
  const int v = probeDtzNoEp(pos, success);
  if (board::currentState(pos).epFile == board::NO_EP_FILE || success == 0) return v;
  const int saved = success;
  bool onlyEnPassant;
  int e = bestEnPassant(pos, success, onlyEnPassant);
  if (success == 0) return 0;
  success = saved;
  if (e == -3) return v;
  e = WDL_TO_DTZ[e + 2];
  if (v < -100) return e >= 0 ? e : v;
  if (v < 0) return (e >= 0 || e < -100) ? e : v;
  if (v > 100) return e > 0 ? e : v;
  if (v > 0) return e == 1 ? 1 : v;
  return (e >= 0 || onlyEnPassant) ? e : 0;
}

bool rootProbe(Position& pos, Move* rootMoves, int& rootMoveCount, int& score, bool fiftyMoveRule) {
  int success;
  const int dtz = probeDtz(pos, success);
  if (success == 0) return false;

  const BoardState& root = board::currentState(pos);
  const int h = root.halfmoveClock;
  int values[board::MAX_MOVES];
  const int count = std::min(rootMoveCount, board::MAX_MOVES);
  for (int i = 0; i < count; ++i) {
    Move m = board::withoutCheck(rootMoves[i]);
    if (m & (board::MOVE_CAPTURE | board::MOVE_PROMOTION))
      board::markCheckCapture(pos, m);
    else
      board::markCheckQuiet(pos, m);
    board::makeMove(pos, m);
    int v;
    Move replies[board::MAX_MOVES];
    if (board::isInCheck(board::currentState(pos)) && dtz > 0 &&
        board::generateLegalMoves(pos, replies) == replies) {
      v = 1;
      success = 1;
    } else if (board::currentState(pos).halfmoveClock == 0) {
      v = WDL_TO_DTZ[-probeWdl(pos, success) + 2];
    } else {
      const int d = probeDtz(pos, success);
      v = d < 0 ? -d + 1 : d > 0 ? -d - 1 : 0;
    }
    board::unmakeMove(pos);
    if (success == 0) return false;
    values[i] = v;
  }

  const int own = platform::popcount(board::ownPieces(root));
  const int opp = platform::popcount(board::opponentPieces(root));
  // Without the fifty-move rule every win is a win and every loss a loss; the moves kept are the
  // same, those that make the fastest progress once the count no longer allows a slower one.
  if (dtz > 0 && (h + dtz <= 100 || !fiftyMoveRule))
    score = 32700 + 15 * own - 100 * opp;
  else if (dtz < 0 && (h - dtz <= 100 || !fiftyMoveRule))
    score = 100 * own - 15 * opp - 32700;
  else
    score = 0;

  int low = 1, high = 0;  // keep the moves with low <= v <= high
  if (dtz > 0) {
    int best = 0xFFFF;
    for (int i = 0; i < count; ++i)
      if (values[i] > 0 && values[i] < best) best = values[i];
    int max = best;
    bool repetition = false;
    const int below = board::stackIndex(pos);
    for (int k = 0; k <= h && k <= below; k += 2)
      if (pos.current[-k].flags & board::FLAG_REPETITION) repetition = true;
    if (!repetition && best + h < 100) max = 99 - h;
    low = 1;
    high = max;
  } else if (dtz < 0) {
    int best = 0;
    for (int i = 0; i < count; ++i) best = std::min(best, values[i]);
    if (h - 2 * best < 100) {
      low = -0x10000;
      high = 0x10000;
    } else {
      low = high = best;
    }
  } else {
    low = high = 0;
  }

  Move kept[board::MAX_MOVES];
  Move dropped[board::MAX_MOVES];
  int keptCount = 0, droppedCount = 0;
  for (int i = 0; i < count; ++i) {
    if (values[i] >= low && values[i] <= high)
      kept[keptCount++] = rootMoves[i];
    else
      dropped[droppedCount++] = rootMoves[i];
  }
  if (keptCount > 0) {
    std::copy(kept, kept + keptCount, rootMoves);
    std::copy(dropped, dropped + droppedCount, rootMoves + keptCount);
    rootMoveCount = keptCount;
  }
  return true;
}

}  // namespace tb

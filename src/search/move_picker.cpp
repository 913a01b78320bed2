#include "search/move_picker.h"

#include <algorithm>
#include <limits>

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "eval/material.h"
#include "search/tt.h"

namespace search {

using namespace board;

namespace {

// The best entry of the non-empty list [begin, end): scanning from the end, the first maximum met
// wins, so of equal scores the entry nearest the end comes first.
ScoredMove* findBest(ScoredMove* begin, ScoredMove* end) {
  ScoredMove* best = end - 1;
  for (ScoredMove* p = end - 2; p >= begin; --p)
    if (p->score > best->score) best = p;
  return best;
}

// Swaps an entry to the end of the list, shortens the list by one and returns the entry.
ScoredMove removeEntry(ScoredMove* entry, ScoredMove*& end) {
  std::swap(*entry, *(end - 1));
  --end;
  return *end;
}

// The history part of a quiet move's sort key is kept within this bound, so that castling's
// 0x38000000 plus the bound plus a square gain still fits the 32-bit key even for a saturated counter.
constexpr int64_t HISTORY_KEY_BOUND = (int64_t(1) << 28) - 1;

// Adds the history and square gain to every quiet entry still in the list.
void scoreQuiets(const SearchThread& thread, const BoardState& state, int ply, ScoredMove* begin,
                 ScoredMove* end) {
  const auto& bucket = thread.history[ply / 4];
  const int32_t totalShare = bucket[0] / 1024;
  const int colourBit = state.flags & FLAG_BLACK;
  for (ScoredMove* p = begin; p < end; ++p) {
    const Move m = p->move;
    if (m & (MOVE_CAPTURE | MOVE_PROMOTION)) continue;
    const int piece = movePiece(m);
    const int64_t share = int64_t(bucket[historyIndex(state, m)]) - totalShare;
    p->score += int32_t(std::clamp(share, -HISTORY_KEY_BOUND, HISTORY_KEY_BOUND)) +
                keyTable[ownPieceEntry(piece, moveTo(m), colourBit)].mg -
                keyTable[ownPieceEntry(piece, moveFrom(m), colourBit)].mg;
  }
}

void markCheck(const Position& pos, Move& move) {
  if (move & (MOVE_CAPTURE | MOVE_PROMOTION))
    markCheckCapture(pos, move);
  else
    markCheckQuiet(pos, move);
}

// The opponent's pieces that attack the own king.
Bitboard checkers(const BoardState& s) {
  const int k = ownKingSquare(s);
  const Bitboard occ = occupied(s);
  const Bitboard opp = opponentPieces(s);
  return opp & ((knights(s) & knightAttacks[k]) | (pawns(s) & pawnAttacksUp(bit(k))) |
                (straightMovers(s) & rookAttacks(k, occ)) |
                (diagonalMovers(s) & bishopAttacks(k, occ)));
}

bool ownPieceOf(const BoardState& s, int square, int type) {
  return ((s.bb[0] >> square) & 1) && pieceOn(s, square) == type;
}

bool opponentPieceOf(const BoardState& s, int square, int type) {
  return ((opponentPieces(s) >> square) & 1) && pieceOn(s, square) == type;
}

// Pseudo-legality of a capture, en-passant capture or promotion word.
bool fitsAsCapture(const BoardState& s, Move m) {
  const int piece = movePiece(m);
  const int from = moveFrom(m);
  const int to = moveTo(m);
  const int captured = moveCaptured(m);
  if (from > 63 || to > 63 || piece < PAWN || piece > KING || !ownPieceOf(s, from, piece)) return false;
  const Bitboard occ = occupied(s);
  const bool capture = (m & MOVE_CAPTURE) != 0;
  const int fileStep = fileOf(to) - fileOf(from);
  const bool pawnCaptureStep = (to - from == 7 && fileStep == -1) || (to - from == 9 && fileStep == 1);

  if (m & MOVE_EN_PASSANT) {
    return piece == PAWN && capture && captured == PAWN && !(m & MOVE_PROMOTION) &&
           s.epFile != NO_EP_FILE && to == 40 + s.epFile && pawnCaptureStep &&
           !((occ >> to) & 1) && opponentPieceOf(s, to - 8, PAWN);
  }
  if (capture && (captured < PAWN || captured >= KING || !opponentPieceOf(s, to, captured)))
    return false;
  if (!capture && captured != 0) return false;
  if (m & MOVE_PROMOTION) {
    if (piece != PAWN || rankOf(from) != 6 || movePromotion(m) < KNIGHT || movePromotion(m) > QUEEN)
      return false;
    return capture ? pawnCaptureStep : (to == from + 8 && !((occ >> to) & 1));
  }
  if (!capture || movePromotion(m) != 0) return false;
  switch (piece) {
    case PAWN: return pawnCaptureStep && rankOf(to) != 7;
    case KNIGHT: return (knightAttacks[from] >> to) & 1;
    case BISHOP: return (bishopAttacks(from, occ) >> to) & 1;
    case ROOK: return (rookAttacks(from, occ) >> to) & 1;
    case QUEEN: return (queenAttacks(from, occ) >> to) & 1;
    default: return (kingAttacks[from] >> to) & 1;
  }
}

}  // namespace

bool fitsPosition(const Position& pos, Move& move) {
  const BoardState& s = currentState(pos);
  const Move m = withoutCheck(move);
  if (m == 0 || (m & 0x80000000u)) return false;
  if ((m & MOVE_CASTLING) && m != board::castlingMove(s, board::castlingSide(m))) return false;
  if (m & (MOVE_CAPTURE | MOVE_PROMOTION | MOVE_EN_PASSANT)) {
    if (!fitsAsCapture(s, m)) return false;
  } else {
    if (moveCaptured(m) != 0 || movePromotion(m) != 0 || !isPseudoLegalQuiet(pos, m)) return false;
  }
  if (isInCheck(s)) {
    // Castling is never an evasion; a non-king move must capture or block the single checker.
    if (m & MOVE_CASTLING) return false;
    if (movePiece(m) != KING) {
      const Bitboard c = checkers(s);
      if (c == 0 || (c & (c - 1))) return false;
      const int checker = platform::lsb(c);
      const int to = moveTo(m);
      const bool resolves = to == checker || ((lineBetween(ownKingSquare(s), checker) >> to) & 1) ||
                            ((m & MOVE_EN_PASSANT) && to - 8 == checker);
      if (!resolves) return false;
    }
  }
  if (leavesKingAttacked(pos, m)) return false;
  move = m;
  markCheck(pos, move);
  return true;
}

int staticExchange(const BoardState& s, Move move) {
  const int from = moveFrom(move);
  const int to = moveTo(move);
  int gain[40];
  gain[0] = eval::PieceValue[moveCaptured(move)];
  // Only the mover leaves the occupancy: an en-passant victim still blocks the line behind it.
  Bitboard occ = occupied(s) ^ bit(from);
  const Bitboard own = s.bb[0];
  const Bitboard diagonal = diagonalMovers(s);
  const Bitboard straight = straightMovers(s);
  Bitboard attackers = ((knights(s) & knightAttacks[to]) | (kings(s) & kingAttacks[to]) |
                        (pawns(s) & own & pawnAttacksDown(bit(to))) |
                        (pawns(s) & ~own & pawnAttacksUp(bit(to))) |
                        (diagonal & bishopAttacks(to, occ)) | (straight & rookAttacks(to, occ))) &
                       occ;
  int onTarget = eval::PieceValue[movePiece(move)];
  bool ownTurn = false;  // the opponent captures next
  int last = 0;
  const Bitboard byType[6] = {pawns(s), knights(s), bishops(s), rooks(s), queens(s), kings(s)};
  for (int i = 1; i < 40; ++i) {
    const Bitboard side = attackers & (ownTurn ? own : ~own);
    if (!side) break;
    int type = PAWN;
    Bitboard candidates = 0;
    for (; type <= KING; ++type) {
      candidates = side & byType[type - 1];
      if (candidates) break;
    }
    const int square = platform::lsb(candidates);
    if (type == KING) {
      if (attackers & (ownTurn ? ~own : own)) break;
      gain[i] = onTarget - gain[i - 1];
      last = i;
      break;
    }
    gain[i] = onTarget - gain[i - 1];
    last = i;
    if (gain[i] > eval::PieceValue[type]) break;
    occ ^= bit(square);
    attackers ^= bit(square);
    if (type == PAWN || type == BISHOP || type == QUEEN) attackers |= diagonal & bishopAttacks(to, occ) & occ;
    if (type == ROOK || type == QUEEN) attackers |= straight & rookAttacks(to, occ) & occ;
    onTarget = eval::PieceValue[type];
    ownTurn = !ownTurn;
  }
  for (int j = last; j >= 1; --j) gain[j - 1] = -std::max(-gain[j - 1], gain[j]);
  return gain[0];
}

void initPicker(MovePicker& picker, const SearchThread& thread, int ply, Move ttMove) {
  picker.stage = STAGE_HASH_MOVE;
  picker.inCheck = isInCheck(currentState(thread.position));
  picker.ply = ply;
  picker.ttMove = ttMove;
  picker.killers[0] = thread.killers[ply][0];
  picker.killers[1] = thread.killers[ply][1];
  picker.killers[2] = ply >= 2 ? thread.killers[ply - 2][0] : 0;
  picker.killers[3] = ply >= 2 ? thread.killers[ply - 2][1] : 0;
  picker.end = picker.list.data();
}

Move nextMove(SearchThread& thread, MovePicker& picker, int32_t& score) {
  const Position& pos = thread.position;
  const BoardState& s = currentState(pos);
  ScoredMove* const begin = picker.list.data();
  const Move hash = withoutCheck(picker.ttMove);
  for (;;) {
    switch (picker.stage) {
      case STAGE_HASH_MOVE:
        picker.stage = STAGE_GENERATE;
        if (picker.ttMove) {
          score = SCORE_HASH_MOVE;
          return picker.ttMove;
        }
        break;

      case STAGE_GENERATE:
        picker.end = picker.inCheck ? generateEvasions(pos, begin) : generateCaptures(pos, begin);
        ttPrefetchChildren(s, begin, picker.end);
        picker.stage = STAGE_GOOD_CAPTURES;
        break;

      case STAGE_GOOD_CAPTURES:
        while (picker.end > begin) {
          ScoredMove* const best = findBest(begin, picker.end);
          if (best->score < SCORE_GOOD) break;
          ScoredMove entry = removeEntry(best, picker.end);
          Move m = entry.move;
          if (withoutCheck(m) == hash || leavesKingAttacked(pos, m)) continue;
          const int mover = movePiece(m);
          if (mover != PAWN && mover != KING && mover > moveCaptured(m)) {
            const int exchange = staticExchange(s, m);
            if (exchange < 0) {
              entry.score = entry.score - SCORE_GOOD + exchange;
              *picker.end++ = entry;
              continue;
            }
          }
          markCheck(pos, m);
          score = entry.score;
          return m;
        }
        if (picker.inCheck) {
          scoreQuiets(thread, s, picker.ply, begin, picker.end);
          picker.stage = STAGE_REMAINING;
        } else {
          picker.stage = STAGE_KILLER_1;
        }
        break;

      case STAGE_KILLER_1:
      case STAGE_KILLER_1 + 1:
      case STAGE_KILLER_1 + 2:
      case STAGE_KILLER_1 + 3: {
        const int k = picker.stage - STAGE_KILLER_1;
        ++picker.stage;
        Move m = picker.killers[k];
        if (m == 0 || m == hash) break;
        // The two of ply - 2 only when they differ from this ply's (and every killer only once).
        bool repeated = false;
        for (int j = 0; j < k; ++j) repeated |= m == picker.killers[j];
        if (repeated) break;
        if (!isPseudoLegalQuiet(pos, m) || leavesKingAttacked(pos, m)) break;
        markCheckQuiet(pos, m);
        score = SCORE_KILLER;
        return m;
      }

      case STAGE_GENERATE_QUIETS: {
        ScoredMove* const quietsBegin = picker.end;
        picker.end = generateQuiets(pos, picker.end);
        ttPrefetchChildren(s, quietsBegin, picker.end);
        scoreQuiets(thread, s, picker.ply, quietsBegin, picker.end);
        picker.stage = STAGE_REMAINING;
        break;
      }

      default: {  // STAGE_REMAINING
        while (picker.end > begin) {
          const ScoredMove entry = removeEntry(findBest(begin, picker.end), picker.end);
          Move m = entry.move;
          const Move plain = withoutCheck(m);
          if (plain == hash) continue;
          if (!picker.inCheck && (plain == picker.killers[0] || plain == picker.killers[1] ||
                                  plain == picker.killers[2] || plain == picker.killers[3]))
            continue;
          if (leavesKingAttacked(pos, m)) continue;
          if (picker.inCheck || (m & (MOVE_CAPTURE | MOVE_PROMOTION))) markCheck(pos, m);
          score = entry.score;
          return m;
        }
        return 0;
      }
    }
  }
}

void rewardHistory(SearchThread& thread, const BoardState& state, int ply, int depth, Move move) {
  auto& bucket = thread.history[ply / 4];
  const int64_t bonus = int64_t(6) * depth * depth;
  const int64_t limit = std::numeric_limits<int32_t>::max();
  int32_t& counter = bucket[historyIndex(state, move)];
  counter = int32_t(std::min<int64_t>(counter + bonus, limit));
  bucket[0] = int32_t(std::min<int64_t>(bucket[0] + bonus, limit));
}

void updateKillers(SearchThread& thread, int ply, Move move) {
  const Move m = withoutCheck(move);
  auto& slots = thread.killers[ply];
  if (slots[0] == m) return;
  slots[1] = slots[0];
  slots[0] = m;
}

void prepareThreadTables(SearchThread& thread) {
  for (int p = 0; p + 2 < MAX_PLY; ++p) thread.killers[p] = thread.killers[p + 2];
  thread.killers[MAX_PLY - 2] = {};
  thread.killers[MAX_PLY - 1] = {};
  for (auto& bucket : thread.history) bucket.fill(0);
}

}  // namespace search

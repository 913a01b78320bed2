#include "board/movegen.h"

#include <type_traits>

#include "board/attacks.h"
#include "board/move.h"
#include "board/queries_inline.h"

namespace board {

namespace {

constexpr int32_t CAPTURE_SCORE = 0x40000000;
constexpr int32_t EN_PASSANT_SCORE = 0x40000015;
constexpr int32_t QUEEN_PROMOTION_SCORE = 0x40000055;
constexpr int32_t QUIET_SCORE = 0x30000000;
constexpr int32_t CASTLING_SCORE = 0x38000000;

// Attacker rank in the capture score: king 0, queen 1, rook 2, bishop 3, knight 4, pawn 5.
constexpr int ATTACKER_ORDER[8] = {0, 5, 4, 3, 2, 1, 0, 0};

inline ScoredMove* addCapture(const BoardState& s, ScoredMove* end, int piece, int from, int to) {
  const int captured = pieceOn(s, to);
  end->score = CAPTURE_SCORE + 16 * captured + ATTACKER_ORDER[piece];
  end->move = makeMoveWord(piece, from, to, captured, 0, MOVE_CAPTURE);
  return end + 1;
}

inline ScoredMove* addQuiet(ScoredMove* end, int piece, int from, int to, bool check) {
  end->score = QUIET_SCORE;
  end->move = makeMoveWord(piece, from, to, 0, 0, check ? MOVE_CHECK : 0);
  return end + 1;
}

// Four entries: knight, bishop, rook, queen.
inline ScoredMove* addPromotions(ScoredMove* end, int from, int to, int captured) {
  const Move flags = MOVE_PROMOTION | (captured ? MOVE_CAPTURE : 0);
  end[0] = {-3, makeMoveWord(PAWN, from, to, captured, KNIGHT, flags)};
  end[1] = {-2, makeMoveWord(PAWN, from, to, captured, BISHOP, flags)};
  end[2] = {-1, makeMoveWord(PAWN, from, to, captured, ROOK, flags)};
  end[3] = {QUEEN_PROMOTION_SCORE, makeMoveWord(PAWN, from, to, captured, QUEEN, flags)};
  return end + 4;
}

template <int Piece>
inline Bitboard pieceAttacks(int square, Bitboard occ) {
  if constexpr (Piece == QUEEN) return queenAttacks(square, occ);
  if constexpr (Piece == ROOK) return rookAttacks(square, occ);
  if constexpr (Piece == BISHOP) return bishopAttacks(square, occ);
  if constexpr (Piece == KNIGHT) return knightAttacks[square];
  if constexpr (Piece == KING) return kingAttacks[square];
  return 0;
}

template <int Piece>
inline ScoredMove* addPieceCaptures(const BoardState& s, ScoredMove* end, Bitboard pieces, Bitboard targets,
                                    Bitboard occ) {
  while (pieces) {
    const int from = platform::popLsb(pieces);
    for (Bitboard t = pieceAttacks<Piece>(from, occ) & targets; t;) end = addCapture(s, end, Piece, from, platform::popLsb(t));
  }
  return end;
}

}  // namespace

ScoredMove* generateCaptures(const Position& pos, ScoredMove* end) {
  const BoardState& s = currentState(pos);
  const Bitboard own = s.bb[0];
  const Bitboard occ = occupied(s);
  const Bitboard opp = occ ^ own;
  const int king = ownKingSquare(s);

  for (Bitboard t = kingAttacks[king] & opp; t;) end = addCapture(s, end, KING, king, platform::popLsb(t));
  end = addPieceCaptures<QUEEN>(s, end, queens(s) & own, opp, occ);
  end = addPieceCaptures<ROOK>(s, end, rooks(s) & own, opp, occ);
  end = addPieceCaptures<BISHOP>(s, end, bishops(s) & own, opp, occ);
  end = addPieceCaptures<KNIGHT>(s, end, knights(s) & own, opp, occ);

  const Bitboard ownPawns = pawns(s) & own;
  for (Bitboard t = (ownPawns << 9) & opp & 0x00FEFEFEFEFEFEFEULL; t;) {
    const int to = platform::popLsb(t);
    end = addCapture(s, end, PAWN, to - 9, to);
  }
  for (Bitboard t = (ownPawns << 7) & opp & 0x007F7F7F7F7F7F7FULL; t;) {
    const int to = platform::popLsb(t);
    end = addCapture(s, end, PAWN, to - 7, to);
  }
  if (s.epFile != NO_EP_FILE) {
    const int to = 40 + s.epFile;
    for (Bitboard f = ownPawns & epCapturers[s.epFile]; f;) {
      end->score = EN_PASSANT_SCORE;
      end->move = makeMoveWord(PAWN, platform::popLsb(f), to, PAWN, 0, MOVE_CAPTURE | MOVE_EN_PASSANT);
      ++end;
    }
  }
  const Bitboard seventh = ownPawns & RANK_7;
  if (seventh) {
    for (Bitboard t = (seventh << 9) & opp & NOT_FILE_A; t;) {
      const int to = platform::popLsb(t);
      end = addPromotions(end, to - 9, to, pieceOn(s, to));
    }
    for (Bitboard t = (seventh << 7) & opp & NOT_FILE_H; t;) {
      const int to = platform::popLsb(t);
      end = addPromotions(end, to - 7, to, pieceOn(s, to));
    }
    for (Bitboard t = (seventh << 8) & ~occ; t;) {
      const int to = platform::popLsb(t);
      end = addPromotions(end, to - 8, to, 0);
    }
  }
  return end;
}

// Quiet moves with their check marks; with ChecksOnly just those that give check, castling left
// out, in the same order.
template <bool ChecksOnly>
ScoredMove* quietMoves(const Position& pos, ScoredMove* end) {
  const BoardState& s = currentState(pos);
  const Bitboard own = s.bb[0];
  const Bitboard occ = occupied(s);
  const Bitboard empty = ~occ;
  const int king = ownKingSquare(s);
  const int theirKing = opponentKingSquare(s);

  const Bitboard checkR = rookAttacks(theirKing, occ);
  const Bitboard checkB = bishopAttacks(theirKing, occ);
  const Bitboard checkN = knightAttacks[theirKing];
  const Bitboard checkP = pawnAttacksDown(bit(theirKing));

  // Own pieces whose leaving a line opens it onto the opponent's king.
  Bitboard straightDiscoverers = 0, diagonalDiscoverers = 0;
  Bitboard kingLineStraight = 0, kingLineDiagonal = 0;
  const Bitboard ownKing = bit(king);
  {
    const Bitboard blockers = own & checkR & ~straightMovers(s);
    if (blockers) {
      for (Bitboard sliders = own & straightMovers(s) & rookAttacks(theirKing, occ ^ blockers); sliders;) {
        const int slider = platform::popLsb(sliders);
        const Bitboard line = lineBetween(theirKing, slider);
        const Bitboard blocker = line & blockers;
        if (blocker & ownKing) {
          kingLineStraight = line;
        } else if ((blocker & (knights(s) | bishops(s))) || directionBetween(theirKing, slider) < 2) {
          straightDiscoverers |= blocker;
        }
      }
    }
  }
  {
    const Bitboard blockers = own & checkB & ~diagonalMovers(s);
    if (blockers) {
      for (Bitboard sliders = own & diagonalMovers(s) & bishopAttacks(theirKing, occ ^ blockers); sliders;) {
        const int slider = platform::popLsb(sliders);
        const Bitboard line = lineBetween(theirKing, slider);
        const Bitboard blocker = line & blockers;
        if (blocker & ownKing) {
          kingLineDiagonal = line;
        } else {
          diagonalDiscoverers |= blocker;
        }
      }
    }
  }
  const Bitboard discoverers = straightDiscoverers | diagonalDiscoverers;

  // Every target of a piece that checks from anywhere (a discoverer), else the targets in `checks`.
  const Bitboard all = ~Bitboard(0);
  {
    Bitboard targets = kingAttacks[king] & empty;
    if constexpr (ChecksOnly) {
      Bitboard checking = 0;
      if (kingLineStraight) checking |= ~kingLineStraight;
      if (kingLineDiagonal) checking |= ~kingLineDiagonal;
      targets &= checking;
    }
    while (targets) {
      const int to = platform::popLsb(targets);
      const bool check = (kingLineStraight && !(kingLineStraight & bit(to))) || (kingLineDiagonal && !(kingLineDiagonal & bit(to)));
      end = addQuiet(end, KING, king, to, check);
    }
  }
  auto pieceMoves = [&](int piece, Bitboard pieces, Bitboard discovering, Bitboard direct) {
    while (pieces) {
      const int from = platform::popLsb(pieces);
      const Bitboard checks = (discovering & bit(from)) ? all : direct;
      Bitboard targets;
      switch (piece) {
        case QUEEN: targets = queenAttacks(from, occ); break;
        case ROOK: targets = rookAttacks(from, occ); break;
        case BISHOP: targets = bishopAttacks(from, occ); break;
        default: targets = knightAttacks[from]; break;
      }
      targets &= empty;
      if constexpr (ChecksOnly) targets &= checks;
      while (targets) {
        const int to = platform::popLsb(targets);
        end = addQuiet(end, piece, from, to, (checks >> to) & 1);
      }
    }
  };
  pieceMoves(QUEEN, queens(s) & own, 0, checkR | checkB);
  pieceMoves(ROOK, rooks(s) & own, diagonalDiscoverers, checkR);
  pieceMoves(BISHOP, bishops(s) & own, straightDiscoverers, checkB);
  pieceMoves(KNIGHT, knights(s) & own, discoverers, checkN);

  const Bitboard ownPawns = pawns(s) & own;
  const Bitboard single = (ownPawns << 8) & empty & ~RANK_8;
  const Bitboard doubles = ((single & RANK_3) << 8) & empty;
  // Pushes that check: from a discoverer (it leaves the line) or onto a square attacking the king.
  const Bitboard checkingSingles = ((discoverers << 8) | checkP) & single;
  const Bitboard checkingDoubles = ((discoverers << 16) | checkP) & doubles;
  for (Bitboard t = ChecksOnly ? checkingSingles : single; t;) {
    const int to = platform::popLsb(t);
    end = addQuiet(end, PAWN, to - 8, to, (checkingSingles >> to) & 1);
  }
  for (Bitboard t = ChecksOnly ? checkingDoubles : doubles; t;) {
    const int to = platform::popLsb(t);
    end = addQuiet(end, PAWN, to - 16, to, (checkingDoubles >> to) & 1);
  }
  if constexpr (!ChecksOnly) {
    for (int side : {QUEEN_SIDE, KING_SIDE}) {
      if (!castlingAllowed(s, side)) continue;
      Move move = castlingMove(s, side);
      if (givesCheck(s, move)) move |= MOVE_CHECK;
      *end++ = {CASTLING_SCORE, move};
    }
  }
  return end;
}

ScoredMove* generateQuiets(const Position& pos, ScoredMove* end) { return quietMoves<false>(pos, end); }

ScoredMove* generateQuietChecks(const Position& pos, ScoredMove* end) { return quietMoves<true>(pos, end); }

ScoredMove* generateEvasions(const Position& pos, ScoredMove* end) {
  const BoardState& s = currentState(pos);
  const Bitboard own = s.bb[0];
  const Bitboard occ = occupied(s);
  const Bitboard opp = occ ^ own;
  const Bitboard empty = ~occ;
  const int king = ownKingSquare(s);
  const Bitboard checkers = attackersOf(s, king, occ) & ~kings(s);

  for (Bitboard t = kingAttacks[king] & opp; t;) end = addCapture(s, end, KING, king, platform::popLsb(t));
  for (Bitboard t = kingAttacks[king] & empty; t;) end = addQuiet(end, KING, king, platform::popLsb(t), false);
  if (!checkers || (checkers & (checkers - 1))) return end;

  const int checker = platform::lsb(checkers);
  const Bitboard blocks = lineBetween(king, checker) & ~checkers;

  auto pieceMoves = [&](auto pieceTag, Bitboard pieces) {
    constexpr int Piece = decltype(pieceTag)::value;
    while (pieces) {
      const int from = platform::popLsb(pieces);
      const Bitboard attacks = pieceAttacks<Piece>(from, occ);
      if (attacks & checkers) end = addCapture(s, end, Piece, from, checker);
      for (Bitboard t = attacks & blocks; t;) end = addQuiet(end, Piece, from, platform::popLsb(t), false);
    }
  };
  pieceMoves(std::integral_constant<int, QUEEN>{}, queens(s) & own);
  pieceMoves(std::integral_constant<int, ROOK>{}, rooks(s) & own);
  pieceMoves(std::integral_constant<int, BISHOP>{}, bishops(s) & own);
  pieceMoves(std::integral_constant<int, KNIGHT>{}, knights(s) & own);

  const Bitboard ownPawns = pawns(s) & own;
  for (Bitboard f = ownPawns & pawnAttacksDown(checkers); f;) {
    const int from = platform::popLsb(f);
    if (checker >= 56) {
      end = addPromotions(end, from, checker, pieceOn(s, checker));
    } else {
      end = addCapture(s, end, PAWN, from, checker);
    }
  }
  const Bitboard single = (ownPawns << 8) & empty;
  for (Bitboard t = single & blocks; t;) {
    const int to = platform::popLsb(t);
    if (to >= 56) {
      end = addPromotions(end, to - 8, to, 0);
    } else {
      end = addQuiet(end, PAWN, to - 8, to, false);
    }
  }
  for (Bitboard t = ((single & RANK_3) << 8) & empty & blocks; t;) {
    const int to = platform::popLsb(t);
    end = addQuiet(end, PAWN, to - 16, to, false);
  }
  if (s.epFile != NO_EP_FILE && checker == 32 + s.epFile && (pawns(s) & checkers)) {
    const int to = 40 + s.epFile;
    for (Bitboard f = ownPawns & epCapturers[s.epFile]; f;) {
      end->score = EN_PASSANT_SCORE;
      end->move = makeMoveWord(PAWN, platform::popLsb(f), to, PAWN, 0, MOVE_CAPTURE | MOVE_EN_PASSANT);
      ++end;
    }
  }
  return end;
}

Move* generateLegalMoves(Position& pos, Move* out) {
  ScoredMove list[MAX_MOVES + 1];
  ScoredMove* last;
  const BoardState& s = currentState(pos);
  // The check state is computed rather than read from the flag, so that a record made from a move
  // without its check mark still gets a correct list.
  if (attackersOf(s, ownKingSquare(s), occupied(s))) {
    last = generateEvasions(pos, list);
  } else {
    last = generateQuiets(pos, generateCaptures(pos, list));
    for (ScoredMove* m = list; m != last; ++m) {
      if (m->move & MOVE_CASTLING) m->score += 0x40000000;
    }
  }
  while (last != list) {
    ScoredMove* best = last - 1;
    for (ScoredMove* m = last - 1; m != list;) {
      --m;
      if (m->score > best->score) best = m;
    }
    const ScoredMove chosen = *best;
    *best = last[-1];
    --last;
    Move move = chosen.move;
    if (leavesKingAttackedInline(s, move)) continue;
    if (givesCheck(s, move)) move |= MOVE_CHECK;
    *out++ = move;
  }
  return out;
}

Move legalMoveFromText(Position& pos, const char* text) {
  const Move wanted = textToMove(pos, text);
  if (wanted == 0) return 0;
  Move moves[MAX_MOVES];
  Move* last = generateLegalMoves(pos, moves);
  for (Move* m = moves; m != last; ++m) {
    if (withoutCheck(*m) == wanted) return *m;
  }
  return 0;
}

}  // namespace board

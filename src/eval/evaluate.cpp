// The evaluation frame: phase and bare-minor draws, the piece and threat passes run once per side
// on the mirrored board, the cached pawn score, the tapered blend and the final scaling.
#include <algorithm>

#include "board/make_move.h"
#include "eval/eval.h"
#include "eval/material.h"
#include "eval/pawn_cache.h"
#include "eval/terms.h"

namespace eval {

PawnCache pawnCache;

void initEvalTables() {
  for (int type = board::PAWN; type <= board::KING; ++type) {
    for (int square = 0; square < 64; ++square) {
      for (const int code : {type + 8, type}) {
        board::KeyEntry& entry = board::keyTable[code * 64 + square];
        entry.mg = PieceSquare[type][PHASE_MG][square];
        entry.eg = PieceSquare[type][PHASE_EG][square];
      }
    }
  }
}

namespace {

using board::Bitboard;
using namespace detail;
using platform::popcount;

constexpr int FULL_PHASE = 24;
constexpr Bitboard BISHOP_COLOUR_SET = 0xAA55AA55AA55AA55ULL;
constexpr int SCORE_LIMIT = board::MATE_BOUND - 1;

// A non-negative 31-bit pseudo-random number from the thread's own generator (xorshift64*).
inline int nextRandom(uint64_t& state) {
  if (state == 0) state = 0x9E3779B97F4A7C15ULL;
  state ^= state >> 12;
  state ^= state << 25;
  state ^= state >> 27;
  return int((state * 0x2545F4914F6CDD1DULL) >> 33);
}

// Material plus placement of our pieces, recomputed from the tables in 32 bits.
inline void addMaterial(const BoardView& v, int& mg, int& eg, EvalTrace* trace) {
  const Bitboard byType[7] = {0, v.pawns, v.knights, v.bishops, v.rooks, v.queens, v.kings};
  int sumMg = 0;
  int sumEg = 0;
  for (int type = board::PAWN; type <= board::KING; ++type) {
    for (Bitboard b = byType[type] & v.us; b;) {
      const int square = platform::popLsb(b);
      sumMg += PieceSquare[type][PHASE_MG][square];
      sumEg += PieceSquare[type][PHASE_EG][square];
    }
  }
  mg += sumMg;
  eg += sumEg;
  if (trace) addTrace(trace, TERM_MATERIAL, v.colour, sumMg, sumEg);
}

// The kept 16-bit sums can wrap only with more heavy pieces than a game starts with (weighing a
// queen as two rooks, more than eight); then the material is recomputed.
inline bool mayOverflowSums(const BoardView& v) {
  return 2 * popcount(v.queens) + popcount(v.rooks) > 8;
}

template <bool TRACE>
int evaluateImpl(board::Position& pos, int ply, EvalContext& context, EvalTrace* trace) {
  const board::BoardState& state = board::currentState(pos);
  const BoardView view = makeView(state);

  const int phase = popcount(view.knights | view.bishops) + 2 * popcount(view.rooks) +
                    4 * popcount(view.queens);
  if constexpr (TRACE) trace->phase = phase;
  if (phase <= 1 && !view.pawns) {
    const int draw = std::clamp((ply & 1) ? -context.drawScore : context.drawScore, -SCORE_LIMIT,
                                SCORE_LIMIT);
    if constexpr (TRACE) {
      trace->drawnMaterial = true;
      trace->score = draw;
    }
    return draw;
  }

  const BoardView flipped = flipView(view);

  // The pawn cache entry is read after the piece and threat passes, which do not need it: its
  // load, started here, overlaps them.
  if (!TRACE) pawnCachePrefetch(pawnCache, state.pawnKey);

  // Piece passes for both sides, then threat passes for both, each pass in its own side's view.
  SideAttacks ourAttacks;
  SideAttacks theirAttacks;
  const Accumulator ourPieces = piecePass<TRACE>(view, ourAttacks, trace);
  const Accumulator theirPieces = piecePass<TRACE>(flipped, theirAttacks, trace);
  const Accumulator theirThreats =
      threatPass<TRACE>(flipped, theirAttacks, platform::byteSwap(ourAttacks.all), trace);
  const Accumulator ourThreats = threatPass<TRACE>(view, ourAttacks, platform::byteSwap(theirAttacks.all), trace);

  // Pawn structure and king shelter: cached under the pawn key, side to move's view.
  int pawnMg;
  int pawnEg;
  if (TRACE || !pawnCacheProbe(pawnCache, state.pawnKey, pawnMg, pawnEg)) {
    const Accumulator ourPawns = pawnPass<TRACE>(view, trace);
    const Accumulator theirPawns = pawnPass<TRACE>(flipped, trace);
    pawnMg = int16_t(ourPawns.mg - theirPawns.mg);
    pawnEg = int16_t(ourPawns.eg - theirPawns.eg);
    pawnCacheStore(pawnCache, state.pawnKey, pawnMg, pawnEg);
  }

  int mg = pawnMg + ourPieces.mg - theirPieces.mg + ourThreats.mg - theirThreats.mg;
  int eg = pawnEg + ourPieces.eg - theirPieces.eg + ourThreats.eg - theirThreats.eg;
  if (TRACE || mayOverflowSums(view)) {
    int themMg = 0;
    int themEg = 0;
    addMaterial(view, mg, eg, trace);
    addMaterial(flipped, themMg, themEg, trace);
    mg -= themMg;
    eg -= themEg;
  } else {
    mg += state.psqMg;
    eg += state.psqEg;
  }
  int score = ((mg + TEMPO) * phase + eg * (FULL_PHASE - phase)) / FULL_PHASE;
  if constexpr (TRACE) {
    trace->mg = mg;
    trace->eg = eg;
    trace->blended = score;
  }

  // Opposite-coloured bishops and nothing else but pawns.
  const Bitboard bishops = view.bishops;
  if (phase == 2 && (bishops & view.us) && (bishops & view.them) &&
      popcount(bishops & BISHOP_COLOUR_SET) == 1) {
    score = score * 3 / 4;
    if constexpr (TRACE) trace->oppositeBishops = true;
  }

  // Approaching the fifty-move limit.
  if (state.halfmoveClock > 69) {
    const int factor = std::max(101 - int(state.halfmoveClock), 0);
    score = score * factor / 32;
    if constexpr (TRACE) trace->halfmoveFactor = factor;
  }

  // Weakened play: a pseudo-random term that blurs the engine's judgement.
  if (context.strength <= 50) {
    const int strength = std::max(context.strength, 1);
    const int noise = nextRandom(context.rngState) % ((101 - strength) * 8) + 4 * strength - 204;
    score += noise;
    if constexpr (TRACE) trace->noise = noise;
  }
  if (context.levelNoise > 0) {
    // The same position is misjudged the same way throughout a search, so the table stays coherent.
    uint64_t h = (state.key ^ context.levelSeed) * 0x9E3779B97F4A7C15ULL;
    h ^= h >> 31;
    const int noise = int(h % uint64_t(2 * context.levelNoise + 1)) - context.levelNoise;
    score += noise;
    if constexpr (TRACE) trace->noise += noise;
  }

  score = std::clamp(score, -SCORE_LIMIT, SCORE_LIMIT);
  if constexpr (TRACE) trace->score = score;
  return score;
}

}  // namespace

int evaluate(board::Position& pos, int ply, EvalContext& context) {
  return evaluateImpl<false>(pos, ply, context, nullptr);
}

int evaluateTraced(board::Position& pos, int ply, EvalContext& context, EvalTrace& trace) {
  trace = EvalTrace{};
  return evaluateImpl<true>(pos, ply, context, &trace);
}

}  // namespace eval

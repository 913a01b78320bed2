// Random legal games from varied starts. After every move the incremental record is checked against
// full recomputations and slow references: keys and sums, unmake, the legal list, check marks,
// isPseudoLegalQuiet, the legal-move counter, each move's text and packed form, the FEN round trip
// and the colour-mirrored twin. Then isPseudoLegalQuiet on moves that do not belong to the position.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/queries.h"
#include "board_test_util.h"
#include "support/engine_process.h"
#include "support/fen_twins.h"

namespace {

using board::Bitboard;
using board::BoardState;
using board::Move;
using board::ScoredMove;

bool sameBytes(const BoardState& a, const BoardState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Whether the side to move attacks `square`, from the table lookups alone (no board queries).
bool sideToMoveAttacks(const BoardState& s, int square) {
  const Bitboard own = s.bb[0];
  const Bitboard occ = board::occupied(s);
  const Bitboard target = board::bit(square);
  const Bitboard pawnSources = ((target >> 9) & board::NOT_FILE_H) | ((target >> 7) & board::NOT_FILE_A);
  return (own & ((board::pawns(s) & pawnSources) | (board::knights(s) & board::knightAttacks[square]) |
                 (board::kings(s) & board::kingAttacks[square]) |
                 (board::diagonalMovers(s) & board::bishopAttacks(square, occ)) |
                 (board::straightMovers(s) & board::rookAttacks(square, occ)))) != 0;
}

// After a move: is the side that moved (now the opponent) in check, and is the side to move?
bool moverInCheck(const BoardState& after) { return sideToMoveAttacks(after, board::opponentKingSquare(after)); }
bool sideToMoveInCheck(const BoardState& s) {
  BoardState other = s;
  board::mirrorPosition(other);
  return sideToMoveAttacks(other, board::opponentKingSquare(other));
}

// The perft suite's positions and a few hand-picked ones.
std::vector<std::string> startFens() {
  std::vector<std::string> fens = {
      "4k3/1P6/8/8/8/8/6p1/4K3 w - - 0 1", "8/8/4k3/3pP3/8/8/8/4K2R w K d6 0 1",
      // Discovered checks (knight, pawn capture, king, en passant), a push that discovers none, a knight
      // promotion's check, castling into check, double check, an en-passant evasion, pins on a file and a rank.
      "4k3/8/8/8/8/8/4N3/4R1K1 w - - 0 1", "4k3/8/8/8/8/8/4P3/4R1K1 w - - 0 1", "7k/8/8/2p5/3P4/8/8/B6K w - - 0 1",
      "8/8/8/8/8/8/k3K2R/8 w - - 0 1", "8/8/8/k2pP2R/8/8/8/4K3 w - d6 0 1", "8/1P1k4/8/8/8/8/8/4K3 w - - 0 1",
      "5k2/8/8/8/8/8/8/4K2R w K - 0 1", "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "B6b/8/8/8/2K5/5k2/8/b6B b - - 0 1",
      "8/8/8/k7/1Pp5/8/8/4K3 b - b3 0 1", "4k3/4r3/8/8/8/8/4N3/4K3 w - - 0 1", "8/8/8/K2pP2r/8/8/8/7k w - d6 0 1",
      "4r2k/8/8/8/8/8/4K3/8 w - - 0 1",
  };
  std::ifstream in(testsupport::dataDir() + "/perft.epd");
  for (std::string line; std::getline(in, line);) fens.push_back(line.substr(0, line.find(';')));
  return fens;
}

struct WalkStats {
  int games = 0, positions = 0, checks = 0, guessedKeys = 0;
};

// Checks the current record of pos thoroughly; `killers` are quiet moves seen in other positions.
void checkPosition(board::Position& pos, const std::vector<Move>& killers, WalkStats& stats) {
  const BoardState& s = board::currentState(pos);
  ++stats.positions;

  BoardState recomputed = s;
  board::computeKeys(recomputed);  // key, pawnKey and the placement sums
  ASSERT_TRUE(sameBytes(recomputed, s));
  const bool inCheck = sideToMoveInCheck(s);
  ASSERT_EQ(board::isInCheck(s), inCheck);
  ASSERT_EQ(board::inCheck(pos), inCheck);

  // Reference: every pseudo-legal move (castling only out of check) whose make leaves the king safe.
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = board::generateQuiets(pos, board::generateCaptures(pos, list));
  std::set<Move> reference, quiets;
  const BoardState before = s;
  for (ScoredMove* m = list; m != last; ++m) {
    if (inCheck && (m->move & board::MOVE_CASTLING)) continue;
    if (!(m->move & (board::MOVE_CAPTURE | board::MOVE_PROMOTION))) quiets.insert(board::withoutCheck(m->move));
    board::makeMove(pos, m->move);
    const bool legal = !moverInCheck(board::currentState(pos));
    board::unmakeMove(pos);
    // In check the query is meant for evasions only (checked below).
    EXPECT_TRUE(inCheck || (board::leavesKingAttacked(pos, m->move) == 0) == legal) << std::hex << m->move;
    if (legal) reference.insert(board::withoutCheck(m->move));
  }
  if (inCheck) {  // the evasions hold every legal move
    last = board::generateEvasions(pos, list);
    std::set<Move> evasions;
    for (ScoredMove* m = list; m != last; ++m)
      if (!board::leavesKingAttacked(pos, m->move)) evasions.insert(board::withoutCheck(m->move));
    ASSERT_EQ(evasions, reference);
  }

  Move legalList[board::MAX_MOVES];
  Move* legalEnd = board::generateLegalMoves(pos, legalList);
  std::set<Move> legal;
  for (Move* m = legalList; m != legalEnd; ++m) {
    legal.insert(board::withoutCheck(*m));
    ASSERT_EQ(board::unpackMove(pos, board::packMove(*m)), *m) << std::hex << *m;
    ASSERT_EQ(board::textToMove(pos, boardtest::moveText(pos, *m).c_str()), board::withoutCheck(*m));
    board::makeMove(pos, *m);
    const bool givesCheck = sideToMoveInCheck(board::currentState(pos));
    ASSERT_EQ((*m & board::MOVE_CHECK) != 0, givesCheck) << std::hex << *m;
    ASSERT_EQ(board::isInCheck(board::currentState(pos)), givesCheck);
    board::unmakeMove(pos);
    ASSERT_TRUE(sameBytes(board::currentState(pos), before));
    stats.checks += givesCheck;
  }
  ASSERT_EQ(legal.size(), size_t(legalEnd - legalList)) << "duplicate legal moves";
  ASSERT_EQ(legal, reference);
  ASSERT_EQ(board::countLegalMoves(pos), int(legal.size()));

  if (!inCheck) {  // the quiet generator's check marks, and the quiet-checks generator
    last = board::generateQuiets(pos, list);
    std::vector<Move> quietChecks, generated;
    for (ScoredMove* m = list; m != last; ++m) {
      Move marked = board::withoutCheck(m->move);
      board::markCheckQuiet(pos, marked);
      ASSERT_EQ(marked, m->move);
      if ((m->move & board::MOVE_CHECK) && !(m->move & board::MOVE_CASTLING)) quietChecks.push_back(m->move);
    }
    last = board::generateQuietChecks(pos, list);
    for (ScoredMove* m = list; m != last; ++m) generated.push_back(m->move);
    ASSERT_EQ(generated, quietChecks);
    for (Move q : quiets) ASSERT_TRUE(board::isPseudoLegalQuiet(pos, q)) << std::hex << q;
    for (Move k : killers) ASSERT_EQ(board::isPseudoLegalQuiet(pos, k), quiets.count(k) == 1) << std::hex << k;
  }

  // FEN round trip (the repetition mark aside) and the colour-mirrored twin (colour and keys aside).
  const std::string fen = boardtest::fenOf(pos), twinFen = testsupport::flipColours(fen);
  BoardState expected = s;
  expected.flags &= uint8_t(~board::FLAG_REPETITION);
  auto again = std::make_unique<board::Position>();
  ASSERT_TRUE(board::setupFromFen(*again, fen)) << fen;
  ASSERT_TRUE(sameBytes(board::currentState(*again), expected)) << fen;
  ASSERT_TRUE(board::setupFromFen(*again, twinFen)) << twinFen;
  BoardState twin = board::currentState(*again);
  twin.flags ^= board::FLAG_BLACK, twin.key = s.key, twin.pawnKey = s.pawnKey;
  ASSERT_TRUE(sameBytes(twin, expected)) << twinFen;
  ASSERT_EQ(boardtest::legalMoves(*again).size(), legal.size()) << twinFen;
}

uint64_t prefetchedKey = 0, prefetchedPawnKey = 0;  // what makeMove handed to its prefetch

TEST(RandomWalk, IncrementalStateMatchesRecomputation) {
  // Arbitrary owner-relative placement values in the key table (the same for both colours of a
  // type), so that the kept sums are checked with non-zero values whatever the evaluation's tables
  // hold; the table is restored on the way out.
  struct Restore {
    const decltype(board::keyTable) saved = board::keyTable;
    ~Restore() { board::keyTable = saved; }
  } restore;
  std::mt19937 rng(20261123);
  for (int type = board::PAWN; type <= board::KING; ++type) {
    for (int square = 0; square < 64; ++square) {
      const auto mg = int16_t(int(rng() % 401) - 200), eg = int16_t(int(rng() % 401) - 200);
      for (board::KeyEntry* e : {&board::keyTable[type * 64 + square], &board::keyTable[(type + 8) * 64 + square]})
        e->mg = mg, e->eg = eg;
    }
  }
  const std::vector<std::string> fens = startFens();
  constexpr int GAMES_PER_START = 12, MAX_PLIES = 60;
  auto pos = std::make_unique<board::Position>();
  std::vector<Move> killers;
  WalkStats stats;
  for (const std::string& fen : fens) {
    for (int game = 0; game < GAMES_PER_START; ++game) {
      ASSERT_TRUE(board::setupFromFen(*pos, fen)) << fen;
      ++stats.games;
      for (int ply = 0; ply < MAX_PLIES; ++ply) {
        checkPosition(*pos, killers, stats);
        if (HasFatalFailure() || HasFailure()) {
          ADD_FAILURE() << "in " << boardtest::fenOf(*pos) << " (game from " << fen << ", ply " << ply << ")";
          return;
        }
        const std::vector<Move> moves = boardtest::legalMoves(*pos);
        if (moves.empty()) break;
        const Move move = moves[rng() % moves.size()];
        if (!(move & (board::MOVE_CAPTURE | board::MOVE_PROMOTION))) {
          if (killers.size() < 64) killers.push_back(0);
          killers[rng() % killers.size()] = board::withoutCheck(move);
        }
        // Now and then a null move, out of check, taken back at once: keys must follow, the
        // en-passant file and the clock start afresh.
        if (!board::isInCheck(board::currentState(*pos)) && rng() % 8 == 0) {
          const uint64_t guessed = board::keyAfterNullMove(board::currentState(*pos));
          board::makeNullMove(*pos);
          ASSERT_EQ(guessed, board::currentState(*pos).key);
          BoardState recomputed = board::currentState(*pos);
          board::computeKeys(recomputed);
          ASSERT_TRUE(sameBytes(recomputed, board::currentState(*pos)));
          ASSERT_EQ(recomputed.epFile, board::NO_EP_FILE);
          ASSERT_EQ(recomputed.halfmoveClock, 0);
          board::unmakeMove(*pos);
        }
        // The keys handed to the prefetch are the child's own keys; the early guess of the key is
        // exact unless the move castles, changes the castling rights or leaves an en-passant file.
        const BoardState before = board::currentState(*pos);
        const uint64_t guessed = board::keyAfterMove(before, move);
        board::makeMove(*pos, move, [](uint64_t key, uint64_t pawnKey) {
          prefetchedKey = key;
          prefetchedPawnKey = pawnKey;
        });
        ASSERT_EQ(prefetchedKey, board::currentState(*pos).key);
        ASSERT_EQ(prefetchedPawnKey, board::currentState(*pos).pawnKey);
        const BoardState& made = board::currentState(*pos);
        if (!(move & board::MOVE_CASTLING) && std::popcount(made.castling) == std::popcount(before.castling) &&
            made.epFile == board::NO_EP_FILE) {
          ASSERT_EQ(guessed, made.key);
          ++stats.guessedKeys;
        }
        // A double step leaves an en-passant file only when a pawn stands beside it to take.
        ASSERT_TRUE(made.epFile == board::NO_EP_FILE ||
                    (board::pawns(made) & made.bb[0] & board::epCapturers[made.epFile]));
        // Keep the stack short as the "position" command does: collapse after irreversible moves.
        if (board::currentState(*pos).halfmoveClock == 0) {
          pos->states[0] = board::currentState(*pos);
          pos->current = pos->states.data();
        }
        if (board::currentState(*pos).halfmoveClock >= 100) break;
      }
    }
  }
  EXPECT_GT(stats.games, 90);
  EXPECT_GT(stats.positions, 3000);
  EXPECT_GT(stats.checks, 100);
  EXPECT_GT(stats.guessedKeys, 2000);
}

// Killers and hash moves from other positions: only a quiet move the generators would give passes.
TEST(LegalityQueries, PseudoLegalQuietRefusesStaleMoves) {
  auto pos = boardtest::positionFromFen("r3k2r/8/8/8/8/8/4P3/R3K1NR w KQkq - 0 1");
  using board::makeMoveWord;
  const std::pair<Move, bool> cases[] = {
      {makeMoveWord(board::KNIGHT, 6, 21), true},  {makeMoveWord(board::KNIGHT, 6, 21) | board::MOVE_CHECK, false},
      {makeMoveWord(board::KNIGHT, 5, 20), false}, {makeMoveWord(board::KNIGHT, 6, 12), false},  // none; occupied
      {makeMoveWord(board::BISHOP, 6, 15), false}, {makeMoveWord(board::PAWN, 12, 28), true},
      {makeMoveWord(board::PAWN, 12, 36), false},  {board::CASTLE_QUEEN_SIDE_MOVE, true},
      {board::CASTLE_KING_SIDE_MOVE, false},       {board::CASTLE_QUEEN_SIDE_MOVE | board::MOVE_CHECK, false},
      {0xFFFF0000u | board::KNIGHT, false}};
  for (const auto& [move, expected] : cases)
    EXPECT_EQ(board::isPseudoLegalQuiet(*pos, move), expected) << std::hex << move;
  boardtest::playMoves(*pos, "a1b1 a8b8 b1a1 b8a8");  // the right is gone, the rook is back
  EXPECT_FALSE(board::isPseudoLegalQuiet(*pos, board::CASTLE_QUEEN_SIDE_MOVE));
}

}  // namespace

// Random legal games from varied starts. After every move the incremental record is checked against
// full recomputations and slow references: keys and sums, unmake, the legal list, check marks,
// isPseudoLegalQuiet, the legal-move counter, the FEN round trip and the colour-mirrored twin.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/perft.h"
#include "board/queries.h"
#include "board_test_util.h"
#include "support/engine_process.h"

namespace {

using board::Bitboard;
using board::BoardState;
using board::Move;
using board::ScoredMove;

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

std::string mirrorFen(const std::string& fen) {
  std::istringstream in(fen);
  std::string placement, side, castling, ep, halfmove, fullmove;
  in >> placement >> side >> castling >> ep >> halfmove >> fullmove;
  std::vector<std::string> ranks;
  std::stringstream ranksIn(placement);
  for (std::string rank; std::getline(ranksIn, rank, '/');) ranks.push_back(rank);
  std::string result;
  for (auto it = ranks.rbegin(); it != ranks.rend(); ++it) {
    if (!result.empty()) result += '/';
    for (char c : *it) result += std::isalpha(static_cast<unsigned char>(c)) ? char(c ^ 0x20) : c;
  }
  std::ostringstream out;
  out << result << ' ' << (side == "w" ? 'b' : 'w') << ' ';
  bool anyRight = false;
  for (char c : {'K', 'Q', 'k', 'q'}) {
    if (castling.find(char(c ^ 0x20)) == std::string::npos) continue;
    out << c;
    anyRight = true;
  }
  if (!anyRight) out << '-';
  if (ep.size() == 2) ep[1] = ep[1] == '3' ? '6' : '3';
  out << ' ' << ep << ' ' << halfmove << ' ' << fullmove;
  return out.str();
}

std::vector<std::string> startFens() {
  std::vector<std::string> fens = {
      board::START_FEN,
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
      "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
      "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
      "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
      "4k3/1P6/8/8/8/8/6p1/4K3 w - - 0 1",
      "8/8/4k3/3pP3/8/8/8/4K2R w K d6 0 1",
  };
  const std::string dir = testsupport::dataDir();
  if (!dir.empty()) {
    std::ifstream in(dir + "/perft.epd");
    for (std::string line; std::getline(in, line);) {
      const std::string fen = line.substr(0, line.find(';'));
      if (!fen.empty()) fens.push_back(fen);
    }
  }
  return fens;
}

struct WalkStats {
  int games = 0;
  int positions = 0;
  int checks = 0;
};

// Checks the current record of pos thoroughly; `killers` are quiet moves seen in other positions.
void checkPosition(board::Position& pos, const std::vector<Move>& killers, WalkStats& stats) {
  const BoardState& s = board::currentState(pos);
  ++stats.positions;

  BoardState recomputed = s;
  board::computeKeys(recomputed);
  ASSERT_EQ(recomputed.key, s.key);
  ASSERT_EQ(recomputed.pawnKey, s.pawnKey);
  ASSERT_EQ(recomputed.psqMg, s.psqMg);
  ASSERT_EQ(recomputed.psqEg, s.psqEg);
  const bool inCheck = sideToMoveInCheck(s);
  ASSERT_EQ(board::isInCheck(s), inCheck);
  ASSERT_EQ(board::inCheck(pos), inCheck);

  // Reference: every pseudo-legal move (castling only out of check) whose make leaves the king safe.
  ScoredMove list[board::MAX_MOVES];
  ScoredMove* last = board::generateQuiets(pos, board::generateCaptures(pos, list));
  std::set<Move> reference;
  std::set<Move> quiets;
  const BoardState before = s;
  for (ScoredMove* m = list; m != last; ++m) {
    if (inCheck && (m->move & board::MOVE_CASTLING)) continue;
    if (!(m->move & (board::MOVE_CAPTURE | board::MOVE_PROMOTION))) quiets.insert(board::withoutCheck(m->move));
    board::makeMove(pos, m->move);
    const bool legal = !moverInCheck(board::currentState(pos));
    board::unmakeMove(pos);
    // In check the query is meant for evasions only (checked below).
    if (!inCheck) {
      EXPECT_EQ(board::leavesKingAttacked(pos, m->move) == 0, legal) << std::hex << m->move;
    }
    if (legal) reference.insert(board::withoutCheck(m->move));
  }
  if (inCheck) {
    // Evasions hold every legal move.
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
    board::makeMove(pos, *m);
    const BoardState& after = board::currentState(pos);
    const bool givesCheck = sideToMoveInCheck(after);
    ASSERT_EQ((*m & board::MOVE_CHECK) != 0, givesCheck) << std::hex << *m;
    ASSERT_EQ(board::isInCheck(after), givesCheck);
    board::unmakeMove(pos);
    ASSERT_EQ(std::memcmp(&board::currentState(pos), &before, sizeof before), 0);
    stats.checks += givesCheck;
  }
  ASSERT_EQ(legal.size(), size_t(legalEnd - legalList)) << "duplicate legal moves";
  ASSERT_EQ(legal, reference);
  ASSERT_EQ(board::countLegalMoves(pos), int(legal.size()));

  if (!inCheck) {
    // Quiet generator check marks, and the quiet-checks generator.
    last = board::generateQuiets(pos, list);
    std::vector<Move> quietChecks;
    for (ScoredMove* m = list; m != last; ++m) {
      Move marked = board::withoutCheck(m->move);
      board::markCheckQuiet(pos, marked);
      ASSERT_EQ(marked, m->move);
      if ((m->move & board::MOVE_CHECK) && !(m->move & board::MOVE_CASTLING)) quietChecks.push_back(m->move);
    }
    last = board::generateQuietChecks(pos, list);
    ASSERT_EQ(std::vector<Move>(quietChecks), [&] {
      std::vector<Move> v;
      for (ScoredMove* m = list; m != last; ++m) v.push_back(m->move);
      return v;
    }());
    for (Move q : quiets) ASSERT_TRUE(board::isPseudoLegalQuiet(pos, q)) << std::hex << q;
    for (Move k : killers) ASSERT_EQ(board::isPseudoLegalQuiet(pos, k), quiets.count(k) == 1) << std::hex << k;
  }

  // FEN round trip and the colour-mirrored twin.
  const std::string fen = boardtest::fenOf(pos);
  auto again = std::make_unique<board::Position>();
  ASSERT_TRUE(board::setupFromFen(*again, fen)) << fen;
  const BoardState& copy = board::currentState(*again);
  ASSERT_EQ(copy.key, s.key) << fen;
  ASSERT_EQ(std::memcmp(copy.bb, s.bb, sizeof s.bb), 0) << fen;
  ASSERT_EQ(copy.castling, s.castling) << fen;
  ASSERT_EQ(copy.epFile, s.epFile) << fen;
  const std::string twinFen = mirrorFen(fen);
  ASSERT_TRUE(board::setupFromFen(*again, twinFen)) << twinFen;
  const BoardState& twin = board::currentState(*again);
  ASSERT_EQ(std::memcmp(twin.bb, s.bb, sizeof s.bb), 0) << twinFen;
  ASSERT_EQ(twin.castling, s.castling);
  ASSERT_EQ(twin.epFile, s.epFile);
  ASSERT_EQ(twin.psqMg, s.psqMg);
  ASSERT_EQ(twin.psqEg, s.psqEg);
  ASSERT_EQ(boardtest::legalMoves(*again).size(), legal.size()) << twinFen;
}

// Fills the placement values of the key table with arbitrary owner-relative values (the same for
// both colours of a piece type) for the life of the guard, so that the incremental sums are checked
// with non-zero values whatever the evaluation's tables hold.
class PlacementValues {
 public:
  PlacementValues() : saved_(board::keyTable) {
    std::mt19937 rng(77);
    for (int type = board::PAWN; type <= board::KING; ++type) {
      for (int square = 0; square < 64; ++square) {
        const auto mg = int16_t(int(rng() % 401) - 200), eg = int16_t(int(rng() % 401) - 200);
        for (int code : {type, type + 8}) {
          board::keyTable[code * 64 + square].mg = mg;
          board::keyTable[code * 64 + square].eg = eg;
        }
      }
    }
  }
  ~PlacementValues() { board::keyTable = saved_; }

 private:
  std::array<board::KeyEntry, board::KEY_TABLE_SIZE> saved_;
};

uint64_t prefetchedKey = 0;  // what makeMove handed to its prefetch

TEST(RandomWalk, IncrementalStateMatchesRecomputation) {
  const PlacementValues placementValues;
  std::mt19937 rng(20261123);
  const std::vector<std::string> fens = startFens();
  constexpr int GAMES_PER_START = 12;
  constexpr int MAX_PLIES = 60;
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
          if (killers.size() < 64) {
            killers.push_back(board::withoutCheck(move));
          } else {
            killers[rng() % killers.size()] = board::withoutCheck(move);
          }
        }
        // Now and then a null move, out of check, taken back at once: keys must follow.
        if (!board::isInCheck(board::currentState(*pos)) && rng() % 8 == 0) {
          board::makeNullMove(*pos);
          BoardState recomputed = board::currentState(*pos);
          board::computeKeys(recomputed);
          ASSERT_EQ(recomputed.key, board::currentState(*pos).key);
          ASSERT_EQ(recomputed.pawnKey, board::currentState(*pos).pawnKey);
          board::unmakeMove(*pos);
        }
        // The key handed to the table prefetch is the child's own key.
        board::makeMove(*pos, move, [](uint64_t key) { prefetchedKey = key; });
        ASSERT_EQ(prefetchedKey, board::currentState(*pos).key);
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
}

}  // namespace

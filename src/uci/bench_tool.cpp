// tesmar bench [depth] [threads]: a fixed set of positions searched one after another to a fixed depth with one
// thread (unless a count is given) and 16 MB of hash after a new game, book and tablebases off. The
// one-thread node count is the search's fingerprint: any change to the search, the evaluation or the
// move ordering changes it.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "board/fen.h"
#include "board/move.h"
#include "board/movegen.h"
#include "eval/pawn_cache.h"
#include "platform/clock.h"
#include "platform/output.h"
#include "search/driver.h"
#include "search/limits.h"
#include "search/thread.h"
#include "search/tt.h"
#include "uci/tool_commands.h"

namespace uci {

namespace {

constexpr int DEFAULT_BENCH_DEPTH = 12;
constexpr int BENCH_HASH_MB = 16;

// Openings, middlegames, endgames and tactical positions.
constexpr const char* BENCH_POSITIONS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "rnbqkb1r/pp1p1ppp/4pn2/2p5/2PP4/2N5/PP2PPPP/R1BQKBNR w KQkq - 0 4",
    "r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3",
    "rnbqkb1r/ppp1pppp/5n2/3p4/3P1B2/5N2/PPP1PPPP/RN1QKB1R b KQkq - 3 3",
    "r1bq1rk1/pp2ppbp/2np1np1/8/3NP3/2N1BP2/PPPQ2PP/R3KB1R w KQ - 3 9",
    "r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1",
    "2rq1rk1/pb1nbppp/1p2pn2/2pp4/2PP4/1PNBPN2/PB3PPP/R2Q1RK1 w - - 2 11",
    "r1bq1rk1/ppp2ppp/2n1pn2/3p4/1bPP4/2N1PN2/PP1B1PPP/R2QKB1R w KQ - 4 7",
    "4rrk1/pp1n3p/3q2pQ/2p1pb2/2PP4/2P3N1/P2B2PP/4RRK1 b - - 7 19",
    "r3r1k1/2p2ppp/p1p1bn2/8/1q2P3/2NPQN2/PPP3PP/R4RK1 b - - 2 15",
    "r1bbk1nr/pp3p1p/2n5/1N4p1/2Np1B2/8/PPP2PPP/2KR1B1R w kq - 0 13",
    "r1bq1rk1/ppp1nppp/4n3/3p3Q/3P4/1BP1B3/PP1N2PP/R4RK1 w - - 1 16",
    "4r1k1/r1q2ppp/ppp2n2/4P3/5Rb1/1N1BQ3/PPP3PP/R5K1 w - - 1 17",
    "2rqkb1r/ppp2p2/2npb1p1/1N1Nn2p/2P1PP2/8/PP2B1PP/R1BQK2R b KQ - 0 11",
    "r1b2rk1/2q1b1pp/p2ppn2/1p6/3QP3/1BN1B3/PPP3PP/R4RK1 w - - 0 15",
    "3r1rk1/p5pp/bpp1pp2/8/q1PP1P2/b3P3/P2NQRPP/1R2B1K1 b - - 6 22",
    "r1q2rk1/2p1bppp/2Pp4/p6b/Q1PNp3/4B3/PP1R1PPP/2K4R w - - 2 18",
    "4k2r/1pb2ppp/1p2p3/1R1p4/3P4/2r1PN2/P4PPP/1R4K1 b - - 3 22",
    "3q2k1/pb3p1p/4pbp1/2r5/PpN2N2/1P2P2P/5PP1/Q2R2K1 b - - 4 26",
    "6k1/6p1/6Pp/ppp5/3pn2P/1P3K2/1PP2P2/3N4 b - - 0 1",
    "3b4/5kp1/1p1p1p1p/pP1PpP1P/P1P1P3/3KN3/8/8 w - - 0 1",
    "2K5/p7/7P/5pR1/8/5k2/r7/8 w - - 0 1",
    "8/6pk/1p6/8/PP3p1p/5P2/4KP1q/3Q4 w - - 0 1",
    "7k/3p2pp/4q3/8/4Q3/5Kp1/P6b/8 w - - 0 1",
    "8/2p5/8/2kPKp1p/2p4P/2P5/3P4/8 w - - 0 1",
    "8/1p3pp1/7p/5P1P/2k3P1/8/2K2P2/8 w - - 0 1",
    "8/pp2r1k1/2p1p3/3pP2p/1P1P1P1P/P5KR/8/8 w - - 0 1",
    "8/3p4/p1bk3p/Pp6/1Kp1PpPp/2P2P1P/2P5/5B2 b - - 0 1",
    "5k2/7R/4P2p/5K2/p1r2P1p/8/8/8 b - - 0 1",
    "6k1/6p1/P6p/r1N5/5p2/7P/1b3PP1/4R1K1 w - - 0 1",
    "1r3k2/4q3/2Pp3b/3Bp3/2Q2p2/1p1P2P1/1P2KP2/3N4 w - - 0 1",
    "6k1/4pp1p/3p2p1/P1pPb3/R7/1r2P1PP/3B1P2/6K1 w - - 0 1",
    "8/3p3B/5p2/5P2/p7/PP5b/k7/6K1 w - - 0 1",
    "2r5/8/1n6/1P1p1pkp/p2P4/R1P1PKP1/8/1R6 w - - 0 1",
    "r1b1k2r/ppppnppp/2n2q2/2b5/3NP3/2P1B3/PP3PPP/RN1QKB1R w KQkq - 0 1",
    "2r2rk1/1bqnbpp1/1p1ppn1p/pP6/N1P1P3/P2B1N1P/1B2QPP1/R2R2K1 b - - 0 1",
    "r1bqk2r/pp2bppp/2p5/3pP3/P2Q1P2/2N1B3/1PP3PP/R4RK1 b kq - 0 1",
};

}  // namespace

int runBenchTool(int argc, char** argv) {
  int depth = DEFAULT_BENCH_DEPTH;
  int threads = 1;  // more threads measure the parallel search's speed; their node count varies
  if (argc >= 1) depth = std::atoi(argv[0]);
  if (argc >= 2) threads = std::atoi(argv[1]);
  if (depth < 1 || depth > 63 || threads < 1 || threads > search::MAX_THREADS) {
    std::fprintf(stderr, "usage: tesmar bench [depth 1-63] [threads 1-64]\n");
    return 2;
  }
  if (!search::ttAllocate(search::tt, eval::pawnCache, BENCH_HASH_MB)) {
    platform::printLine("TT allocation error\n");
    return 1;
  }
  search::SearchThread& thread = search::searchThreads[0];
  for (auto& ply : thread.killers) ply = {};

  search::SearchLimits& limits = search::searchLimits;
  limits.threads = threads;
  limits.strength = 100;
  limits.drawScore = 0;
  limits.syzygyProbeLimit = 0;
  limits.logEnabled = false;
  limits.silent = true;

  uint64_t totalNodes = 0;
  const int64_t startMs = platform::nowMs();
  const int count = int(sizeof BENCH_POSITIONS / sizeof BENCH_POSITIONS[0]);
  for (int i = 0; i < count; ++i) {
    board::Position& pos = search::rootPosition();
    if (!board::setupFromFen(pos, BENCH_POSITIONS[i])) {
      std::fprintf(stderr, "bench: unreadable position %d\n", i + 1);
      return 1;
    }
    limits.rootMoveCount = int(board::generateLegalMoves(pos, limits.rootMoves.data()) - limits.rootMoves.data());
    limits.movesToGo = 0;
    limits.timeMs = 0;
    limits.incrementMs = 0;
    limits.movesPlayed = 0;
    limits.clockGiven = false;
    limits.depthLimit = depth + 1;
    limits.pondering.store(0);
    limits.stopRequested.store(0);
    limits.startMs = platform::nowMs();
    search::runSearch();
    const search::SearchResult& result = search::lastSearch;
    totalNodes += result.nodes;
    char text[8] = "0000";
    if (result.bestMove) board::moveToText(result.bestMove, board::blackToMove(board::currentState(pos)), text);
    platform::printLine("Position %2d/%d: bestmove %-5s score %6d nodes %10" PRIu64 "\n", i + 1, count, text,
                        result.score, result.nodes);
  }
  const int64_t elapsed = platform::nowMs() - startMs;
  const uint64_t nps = totalNodes * 1000 / uint64_t(elapsed + 1);
  platform::printLine("Nodes searched: %" PRIu64 "\n", totalNodes);
  platform::printLine("Nodes/second: %" PRIu64 "\n", nps);
  platform::printLine("%" PRIu64 " nodes %" PRIu64 " nps\n", totalNodes, nps);
  platform::flushOut();
  search::ttRelease(search::tt, eval::pawnCache);
  return 0;
}

}  // namespace uci

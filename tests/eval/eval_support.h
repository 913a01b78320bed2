#pragma once
// Helpers for the evaluation tests: the file-mirrored twin of a FEN, test positions from the shared
// data and from random games, and the breakdown of a FEN.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/movegen.h"
#include "board/position.h"
#include "eval/eval.h"
#include "support/engine_process.h"
#include "support/fen_twins.h"

namespace evaltest {

// The file-mirrored twin (a-file exchanged with the h-file); castling rights are dropped.
inline std::string mirrorFiles(const std::string& fen) {
  std::istringstream in(fen);
  std::string placement, side, castling, ep = "-", halfmove = "0", fullmove = "1";
  in >> placement >> side >> castling >> ep >> halfmove >> fullmove;
  // A rank's text read backwards, runs of empty squares included, is the rank mirrored.
  std::istringstream ranks(placement);
  std::string mirrored;
  for (std::string rank; std::getline(ranks, rank, '/');)
    mirrored.append(mirrored.empty() ? 0 : 1, '/').append(rank.rbegin(), rank.rend());
  if (ep != "-") ep[0] = char('h' - (ep[0] - 'a'));
  return mirrored + ' ' + side + " - " + ep + ' ' + halfmove + ' ' + fullmove;
}

// Up to maxCount positions (the first four fields of each line) of a data file.
inline std::vector<std::string> loadDataFens(const std::string& name, size_t maxCount) {
  std::vector<std::string> fens;
  std::ifstream in(testsupport::dataDir() + "/" + name);
  for (std::string line, w[4]; fens.size() < maxCount && std::getline(in, line);) {
    std::istringstream words(line);
    if (words >> w[0] >> w[1] >> w[2] >> w[3]) fens.push_back(w[0] + " " + w[1] + " " + w[2] + " " + w[3] + " 0 1");
  }
  return fens;
}

// FENs of the positions of a few random games from the start position (deterministic).
inline std::vector<std::string> randomGameFens(uint64_t seed, int games, int maxPlies) {
  std::vector<std::string> fens;
  auto pos = std::make_unique<board::Position>();
  board::Move moves[board::MAX_MOVES];
  char buffer[128];
  for (int game = 0; game < games; ++game) {
    board::setupFromFen(*pos, board::START_FEN);
    for (int ply = 0; ply < maxPlies; ++ply) {
      board::Move* end = board::generateLegalMoves(*pos, moves);
      const int count = int(end - moves);
      if (count == 0) break;
      seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
      board::makeMove(*pos, moves[seed % uint64_t(count)]);
      if (board::currentState(*pos).halfmoveClock == 0) {
        pos->states[0] = board::currentState(*pos);
        pos->current = pos->states.data();
      }
      board::positionToFen(*pos, buffer, sizeof buffer);
      fens.push_back(buffer);
    }
  }
  return fens;
}

// A varied set: perft and tactical suites plus random games.
inline std::vector<std::string> variedFens() {
  std::vector<std::string> fens = loadDataFens("perft.epd", 179);
  for (const std::string& fen : loadDataFens("wac.epd", 120)) fens.push_back(fen);
  for (const std::string& fen : randomGameFens(0x5EED1234ULL, 12, 120)) fens.push_back(fen);
  return fens;
}

// Sets up a FEN in a heap position (the records are large).
inline std::unique_ptr<board::Position> setUp(const std::string& fen) {
  auto pos = std::make_unique<board::Position>();
  return board::setupFromFen(*pos, fen) ? std::move(pos) : nullptr;
}

inline eval::EvalTrace traceOf(const std::string& fen) {
  eval::EvalTrace trace;
  auto pos = setUp(fen);
  EXPECT_TRUE(pos) << fen;
  eval::EvalContext context;
  if (pos) eval::evaluateTraced(*pos, 0, context, trace);
  return trace;
}

}  // namespace evaltest

#pragma once
// Helpers for the evaluation tests: FEN twins, test positions from the shared data and from random
// games, and evaluation of a FEN with or without a breakdown.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
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

namespace evaltest {

inline std::vector<std::string> splitFields(const std::string& fen) {
  std::istringstream in(fen);
  std::vector<std::string> fields;
  for (std::string field; in >> field;) fields.push_back(field);
  while (fields.size() < 6) fields.push_back(fields.size() == 4 ? "0" : fields.size() == 5 ? "1" : "-");
  return fields;
}

inline std::string joinFields(const std::vector<std::string>& f) {
  return f[0] + " " + f[1] + " " + f[2] + " " + f[3] + " " + f[4] + " " + f[5];
}

inline std::vector<std::string> ranksOf(const std::string& placement) {
  std::vector<std::string> ranks;
  std::string rank;
  for (char c : placement) {
    if (c == '/') {
      ranks.push_back(rank);
      rank.clear();
    } else {
      rank += c;
    }
  }
  ranks.push_back(rank);
  return ranks;
}

// The colour-exchanged twin: ranks mirrored, colours and side to move swapped, castling and
// en-passant mirrored.
inline std::string flipColours(const std::string& fen) {
  std::vector<std::string> f = splitFields(fen);
  std::vector<std::string> ranks = ranksOf(f[0]);
  std::string placement;
  for (int i = int(ranks.size()) - 1; i >= 0; --i) {
    for (char c : ranks[i])
      placement += std::isalpha(static_cast<unsigned char>(c))
                       ? char(std::isupper(static_cast<unsigned char>(c)) ? std::tolower(c) : std::toupper(c))
                       : c;
    if (i) placement += '/';
  }
  f[0] = placement;
  f[1] = f[1] == "w" ? "b" : "w";
  if (f[2] != "-") {
    std::string castling;
    for (char c : std::string("KQkq"))
      for (char have : f[2])
        if (have == (std::isupper(static_cast<unsigned char>(c)) ? char(std::tolower(c)) : char(std::toupper(c))))
          castling += c;
    f[2] = castling;
  }
  if (f[3] != "-") f[3] = std::string(1, f[3][0]) + (f[3][1] == '3' ? "6" : "3");
  return joinFields(f);
}

// The file-mirrored twin (a-file exchanged with the h-file); castling rights are dropped.
inline std::string mirrorFiles(const std::string& fen) {
  std::vector<std::string> f = splitFields(fen);
  std::vector<std::string> ranks = ranksOf(f[0]);
  std::string placement;
  for (size_t i = 0; i < ranks.size(); ++i) {
    std::string expanded;
    for (char c : ranks[i]) {
      if (std::isdigit(static_cast<unsigned char>(c)))
        expanded.append(size_t(c - '0'), '1');
      else
        expanded += c;
    }
    std::string reversed(expanded.rbegin(), expanded.rend());
    std::string packed;
    int empty = 0;
    for (char c : reversed) {
      if (c == '1') {
        ++empty;
        continue;
      }
      if (empty) packed += char('0' + empty), empty = 0;
      packed += c;
    }
    if (empty) packed += char('0' + empty);
    placement += packed;
    if (i + 1 < ranks.size()) placement += '/';
  }
  f[0] = placement;
  f[2] = "-";
  if (f[3] != "-") f[3] = std::string(1, char('h' - (f[3][0] - 'a'))) + f[3][1];
  return joinFields(f);
}

// Up to maxCount positions (the FEN part of each line) of a data file; empty when absent.
inline std::vector<std::string> loadDataFens(const std::string& name, size_t maxCount) {
  std::vector<std::string> fens;
  const std::string dir = testsupport::dataDir();
  if (dir.empty()) return fens;
  std::ifstream in(dir + "/" + name);
  for (std::string line; fens.size() < maxCount && std::getline(in, line);) {
    std::istringstream words(line);
    std::vector<std::string> w;
    for (std::string word; w.size() < 6 && words >> word;) w.push_back(word);
    if (w.size() < 4) continue;
    const bool counters = w.size() == 6 && std::isdigit(static_cast<unsigned char>(w[4][0])) &&
                          std::isdigit(static_cast<unsigned char>(w[5][0]));
    fens.push_back(w[0] + " " + w[1] + " " + w[2] + " " + w[3] + (counters ? " " + w[4] + " " + w[5] : " 0 1"));
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
  if (!board::setupFromFen(*pos, fen)) return nullptr;
  return pos;
}

inline eval::EvalTrace traceOf(const std::string& fen, int ply = 0) {
  eval::EvalTrace trace;
  auto pos = setUp(fen);
  EXPECT_TRUE(pos) << fen;
  if (!pos) return trace;
  eval::EvalContext context;
  eval::evaluateTraced(*pos, ply, context, trace);
  return trace;
}

// One term of one colour: {mg, eg}.
inline std::pair<int, int> term(const eval::EvalTrace& trace, eval::EvalTerm t, int colour) {
  return {trace.terms[t][colour][0], trace.terms[t][colour][1]};
}

}  // namespace evaltest

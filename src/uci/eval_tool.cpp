// "tesmar eval [FEN]": the evaluation of one position with its breakdown per term group, for a
// person who wants to see why the engine likes a position.
#include <cstdio>
#include <string>

#include "board/fen.h"
#include "board/position.h"
#include "eval/eval.h"
#include "uci/tool_commands.h"

namespace uci {

namespace {

constexpr const char* TERM_NAMES[eval::TERM_COUNT] = {
    "Material+placement", "Pawns", "Mobility", "King attack", "Pieces", "Threats", "Passed-pawn path"};

void printRow(const char* name, const int white[2], const int black[2]) {
  std::printf("%-20s %7d %7d   %7d %7d   %7d %7d\n", name, white[0], white[1], black[0], black[1],
              white[0] - black[0], white[1] - black[1]);
}

}  // namespace

int runEvalTool(int argc, char** argv) {
  std::string fen;
  for (int i = 0; i < argc; ++i) {
    if (i) fen += ' ';
    fen += argv[i];
  }
  if (fen.empty()) fen = board::START_FEN;

  board::Position pos;
  if (!board::setupFromFen(pos, fen)) {
    std::printf("Invalid FEN: %s\n", fen.c_str());
    return 1;
  }
  const board::BoardState& state = board::currentState(pos);
  const bool black = board::blackToMove(state);

  eval::EvalContext context;
  eval::EvalTrace trace;
  const int score = eval::evaluateTraced(pos, 0, context, trace);

  std::printf("Position: %s\n", fen.c_str());
  std::printf("Side to move: %s%s\n", black ? "Black" : "White",
              board::isInCheck(state) ? " (in check: the search never evaluates this position)" : "");
  std::printf("Values in quarter centipawns (400 = one pawn); White and Black each from their own view,\n"
              "Total = White - Black.\n\n");
  if (trace.drawnMaterial) {
    std::printf("No pawns and at most one minor piece: the draw value, nothing else is computed.\n");
  } else {
    std::printf("%-20s %15s   %15s   %15s\n", "Term", "White", "Black", "Total");
    std::printf("%-20s %7s %7s   %7s %7s   %7s %7s\n", "", "MG", "EG", "MG", "EG", "MG", "EG");
    int sums[2][2] = {};
    for (int term = 0; term < eval::TERM_COUNT; ++term) {
      const auto& t = trace.terms[term];
      printRow(TERM_NAMES[term], t[eval::WHITE].data(), t[eval::BLACK].data());
      for (int colour = 0; colour < 2; ++colour)
        for (int phase = 0; phase < 2; ++phase) sums[colour][phase] += t[colour][phase];
    }
    printRow("Sum", sums[eval::WHITE], sums[eval::BLACK]);
    std::printf("\nPhase: %d of 24 (24 = all pieces on the board: middle game)\n", trace.phase);
    std::printf("Side to move: mg %d, eg %d, blended with the tempo bonus %d: %d\n", trace.mg,
                trace.eg, eval::TEMPO, trace.blended);
    if (trace.oppositeBishops) std::printf("Opposite-coloured bishops: scaled by 3/4\n");
    if (trace.halfmoveFactor != 32)
      std::printf("Halfmove clock %d: scaled by %d/32\n", int(state.halfmoveClock),
                  trace.halfmoveFactor);
  }
  std::printf("Final evaluation: %d\n", score);
  return 0;
}

}  // namespace uci

// The terms one by one: small positions whose value for one term group of one colour is worked out
// by hand from the weights, checked through the breakdown.
#include <gtest/gtest.h>

#include "eval_support.h"

namespace {

using namespace eval;  // the term names and colours

TEST(EvalTerms, WorkedExamples) {
  struct Case {
    const char *what, *fen;
    EvalTerm term;
    int colour, mg, eg;
  };
  const Case cases[] = {
      // One island, three pawns side by side; kings on g1/g8 with no shelter pawns (-13 - 20 - 50).
      {"island a2 b2 c2", "6k1/ppp5/8/8/8/8/PPP5/6K1 w - -", TERM_PAWNS, WHITE, -39 - 83, -39},
      // Isolated passed d4: r = 3, their king a8 three squares from d5, ours on e1 four squares.
      {"isolated passed d4", "k7/7p/8/8/3P4/8/8/4K3 w - -", TERM_PAWNS, WHITE, -39 - 60 + 177 + (1 - 20 - 50),
       -39 - 60 + 3 * (59 + 60 - 40)},
      // Doubled d2 d3 blocked by d7: d2 doubled, both isolated.
      {"doubled d2 d3", "4k3/3p4/8/8/8/3P4/3P4/4K3 w - -", TERM_PAWNS, WHITE, -39 - 120 - 23 + (110 - 20 - 50),
       -39 - 120 - 23},
      // Passed d6 with their king on d8 and ours on d1: mg +295, eg 5 * (59 + 20 - 60).
      {"passed d6", "3k4/8/3P4/8/8/8/8/3K4 w - -", TERM_PAWNS, WHITE, -39 - 60 + 295 + (-13 + 0 - 50), -39 - 60 + 95},
      // The same pawn storms Black's king from d6 (d3 in Black's view): -17 - 3 * 47.
      {"storm from d6", "3k4/8/3P4/8/8/8/8/3K4 w - -", TERM_PAWNS, BLACK, -13 - 17 - 141 - 50, 0},
      // Full shelter f2 g2 h2 in front of g1: 110 + 158 + 81.
      {"shelter g1", "6k1/5ppp/8/8/8/8/5PPP/6K1 w - -", TERM_PAWNS, WHITE, -39 + 349, -39},
      // The h-pawn missing, no enemy h-pawn: 110 + 158 - 50.
      {"shelter without h-pawn", "6k1/5pp1/8/8/8/8/5PP1/6K1 w - -", TERM_PAWNS, WHITE, -39 + 110 + 158 - 50, -39},
      // Enemy g3 in front of g1 with no own g-pawn: -17 - 3 * 47; f2 and h2 are isolated
      // candidates (+7 each), two islands.
      {"storm g3", "6k1/8/8/8/8/6p1/5P1P/6K1 w - -", TERM_PAWNS, WHITE, -78 - 86 + 14 + (110 - 17 - 141 + 81),
       -78 - 86 + 14},
      {"storming pawn g3", "6k1/8/8/8/8/6p1/5P1P/6K1 w - -", TERM_PAWNS, BLACK, -39 - 43 + 35 + (-21 + 0 - 51),
       -39 - 43 + 35},
      // A chain c2 d3 e4: c2 is the base (-28), d3 and e4 defended (+50), one island; shelter
      // d3 (inner, third rank) + e4 (middle, fourth rank) - open f-file.
      {"chain c2 d3 e4", "4k3/2p1p3/3p4/8/4P3/3P4/2P5/4K3 w - -", TERM_PAWNS, WHITE, -39 + 50 - 28 + (55 + 1 - 50),
       -39 + 50 - 28},
      // Knight e5 defended by d4, nothing attacks e5..e8: outpost 81 + 1 for the pawn defence.
      {"knight outpost", "k7/8/8/4N3/3P4/8/8/K7 w - -", TERM_PIECES, WHITE, 82, 82},
      {"bishop outpost", "k7/8/8/4B3/3P4/8/8/K7 w - -", TERM_PIECES, WHITE, 22 + 1 - 17, 22 + 1 - 17},
      {"trapped bishop a7", "7k/B7/1p6/8/8/8/8/K7 w - -", TERM_PIECES, WHITE, -167, -167},
      {"rook on open file", "k7/8/8/8/8/8/8/4R1K1 w - -", TERM_PIECES, WHITE, 74, 74},
      {"rook on half-open file", "k7/8/4p3/8/8/8/8/4R1K1 w - -", TERM_PIECES, WHITE, 37, 37},
      {"trapped rook h1", "k7/8/8/8/8/8/7P/6KR w - -", TERM_PIECES, WHITE, -167, -167},
      {"knight pair", "k7/8/8/8/8/8/8/1N2K1N1 w - -", TERM_PIECES, WHITE, -24, -24},
      {"rook pair", "1k6/8/8/8/8/8/8/R3K2R w - -", TERM_PIECES, WHITE, 74 + 74 - 14, 74 + 74 - 14},
      {"bishop pair", "k7/8/8/8/8/8/8/2B2B1K w - -", TERM_PIECES, WHITE, 153, 153},
      // A minor piece in our own king zone (+20) with a pawn in front of it (+14), and a pawn on
      // the bishop's square colour (-17).
      {"minor near king", "k7/8/8/8/8/4P3/4B3/4K3 w - -", TERM_PIECES, WHITE, 20 + 14, 20 + 14},
      {"bad bishop", "k7/8/8/8/8/3P4/4B3/4K3 w - -", TERM_PIECES, WHITE, 20 - 17, 20 - 17},
      // One attacker (a pawn keeps the material from the bare-minor draw): a quarter of 160 (g7)
      // + 20 (h6), and of 1 + 1.
      {"one zone attacker", "7k/p7/8/5N2/8/8/8/K7 w - -", TERM_KING_ATTACK, WHITE, 45, 0},
      // Two attackers: half of knight 180/2 plus rook 2 * 108 (g8, g7) + 35 (g6) / 3.
      {"two zone attackers", "7k/8/8/5N2/8/8/8/K5R1 w - -", TERM_KING_ATTACK, WHITE, 215, 2},
      // A knight alone on a1 has two moves; a rook on d1 beside its king thirteen.
      {"knight mobility", "7k/p7/8/8/8/8/8/N6K w - -", TERM_MOBILITY, WHITE, -34, -21},
      {"rook mobility", "7k/8/8/8/8/8/8/3R3K w - -", TERM_MOBILITY, WHITE, 92, 45},
      {"pawn takes undefended knight", "7k/8/8/3n4/4P3/8/8/K7 w - -", TERM_THREATS, WHITE, 191, 191},
      {"pawn takes defended knight", "7k/8/2p5/3n4/4P3/8/8/K7 w - -", TERM_THREATS, WHITE, 145, 145},
      // Knight and rook on the undefended queen, and a safe knight check from g6.
      {"two classes on a queen", "7k/8/8/3q4/5N2/8/8/K2R4 w - -", TERM_THREATS, WHITE, 116 + 39 + 92 + 17,
       116 + 39 + 92},
      // Queen d1 behind its own bishop e2 x-rays to h5; behind an enemy bishop it stops.
      {"queen x-ray through own bishop", "r6k/6pp/8/7n/8/8/4B3/1K1Q4 w - -", TERM_THREATS, WHITE, 91 + 66, 91 + 66},
      // Rook a1 x-rays the king a8 through the knight a5 (defended, so no safe check): 111.
      {"x-ray through knight", "k7/8/1p6/n7/8/8/8/R6K w - -", TERM_THREATS, WHITE, 20 + 111, 20},
      {"x-ray along a rank", "1b6/R1p1k3/8/8/8/8/8/7K w - -", TERM_THREATS, WHITE, 13 + 111, 13},
      {"free path", "k7/8/8/4P3/8/8/8/K6n w - -", TERM_PASSED_PATH, WHITE, 0, 0},
      {"blocked path", "k7/8/4n3/4P3/8/8/8/K7 w - -", TERM_PASSED_PATH, WHITE, -140, -140},
      {"attacked path", "k7/r7/8/4P3/8/8/8/7K w - -", TERM_PASSED_PATH, WHITE, -136, -136},
      {"rook behind covers the path", "k7/r7/8/4P3/8/8/8/4R2K w - -", TERM_PASSED_PATH, WHITE, 0, 0},
      // Unstoppable against king and pawns: in the side to move's pass (7 - 4) + 0 < distance.
      {"unstoppable a5", "7k/8/8/P7/8/8/8/K7 w - -", TERM_PASSED_PATH, WHITE, 112, 112},
      {"king on e8 in time", "4k3/8/8/P7/8/8/8/K7 b - -", TERM_PASSED_PATH, WHITE, 0, 0},
  };
  for (const Case& c : cases) {
    const EvalTrace trace = evaltest::traceOf(c.fen);
    EXPECT_EQ(trace.terms[c.term][c.colour][0], c.mg) << c.what << ": " << c.fen;
    EXPECT_EQ(trace.terms[c.term][c.colour][1], c.eg) << c.what << ": " << c.fen;
  }
}

}  // namespace

#include "search/wdl.h"

#include <algorithm>
#include <cmath>

namespace search {

namespace {

// The model: a side with the score v (centipawns) wins with the chance 1 / (1 + exp((a - v) / b))
// and loses with the chance 1 / (1 + exp((a + v) / b)); a and b are cubics in x = the move number
// / 32 (clamped to 1..120): late in a game the same score wins less often. Fitted by maximum
// likelihood (tools/fit_wdl.py) on 396,000 positions of 2,999 self-play games at 10,000 and 12,000
// nodes a move (tools/wdl_games.sh), each position's score the engine's own at that move and its
// outcome the game's. The move number fitted those games better than the material on the board; how
// well it predicts 599 games left out of the fit is in tools/wdl_data.md.
constexpr double A[] = {0.8088, 67.8175, -86.2811, 110.9270};
constexpr double B[] = {-6.9531, 79.9695, -163.4837, 174.1095};

double polynomial(const double (&c)[4], double x) { return ((c[0] * x + c[1]) * x + c[2]) * x + c[3]; }

int perMille(double v, double a, double b) { return int(std::lround(1000.0 / (1.0 + std::exp((a - v) / b)))); }

}  // namespace

WdlChances wdlChances(int score, int moveNumber) {
  const double x = std::clamp(moveNumber, 1, 120) / 32.0;
  const double a = std::max(polynomial(A, x), 1.0);  // a > 0 keeps win + loss below 1000
  const double b = std::max(polynomial(B, x), 1.0);
  const double v = score / 4.0;
  WdlChances chances;
  chances.win = perMille(v, a, b);
  chances.loss = perMille(-v, a, b);
  chances.draw = 1000 - chances.win - chances.loss;
  if (chances.draw < 0) {  // rounding both up at a very large score
    (chances.win > chances.loss ? chances.win : chances.loss) += chances.draw;
    chances.draw = 0;
  }
  return chances;
}

}  // namespace search

#include "search/strength.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace search {

namespace {

// Calibrated anchors, weakest first: the Elo that each (nodes, noise) pair scored at 10+0.1 on the
// scale of Debian's stockfish 15.1 with UCI_LimitStrength (from 1350 up), the two weakest against the
// anchor above them (tools/strength_ladder.sh played the games, tools/strength_fit.py turned them into
// these Elos; tools/strength_data.md has the figures). The last anchor is full strength (no budget).
// Between anchors the node budget is interpolated geometrically and the noise linearly.
struct Anchor {
  int elo;
  double nodes;
  int noiseCp;
};
constexpr double FULL_STRENGTH_NODES = 1e6;  // stands for full strength when interpolating toward it
constexpr Anchor ANCHORS[] = {
    {270, 50, 220},     {750, 200, 100},    {1460, 700, 40},
    {1740, 3000, 10},   {1960, 12000, 0},   {1975, 60000, 0},
    {UCI_ELO_MAX, FULL_STRENGTH_NODES, 0},
};
static_assert(ANCHORS[0].elo <= UCI_ELO_MIN);

}  // namespace

StrengthLevel levelForElo(int elo) {
  elo = std::clamp(elo, UCI_ELO_MIN, UCI_ELO_MAX);
  if (elo == UCI_ELO_MAX) return StrengthLevel{};
  size_t i = 1;
  while (i + 1 < std::size(ANCHORS) && ANCHORS[i].elo < elo) ++i;
  const Anchor& lo = ANCHORS[i - 1];
  const Anchor& hi = ANCHORS[i];
  const double t = std::clamp(double(elo - lo.elo) / (hi.elo - lo.elo), 0.0, 1.0);
  StrengthLevel level;
  level.nodes = uint64_t(std::lround(lo.nodes * std::pow(hi.nodes / lo.nodes, t)));
  level.noise = int(std::lround((lo.noiseCp + (hi.noiseCp - lo.noiseCp) * t) * 4));
  return level;
}

}  // namespace search

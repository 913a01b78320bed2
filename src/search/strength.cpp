#include "search/strength.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace search {

namespace {

// Calibrated anchors, weakest first: the Elo of each (nodes, noise) pair at 10+0.1 on the scale of
// Debian's stockfish 15.1 with UCI_LimitStrength. From 1470 up the Elos lie on the line Elo = 765.7 +
// 76.8 * log2(nodes) fitted through levels that each played stockfish at about its own number (the
// reference's strength rises in steps of whole search depths, so single matches scatter about the
// line); the three below chain down from the 577-node level through matches of Tesmar's own levels.
// tools/strength_ladder.sh plays the games, tools/strength_fit.py fits them, tools/strength_data.md
// has the figures. The last anchor is full strength (no budget); its node count only shapes the
// interpolation toward it, where the line puts full strength at 10+0.1.
// Between anchors the node budget is interpolated geometrically and the noise linearly.
struct Anchor {
  int elo;
  double nodes;
  int noiseCp;
};
constexpr double FULL_STRENGTH_NODES = 560000;
constexpr Anchor ANCHORS[] = {
    {783, 200, 100},  {1177, 311, 79},  {1368, 442, 62},   {1470, 577, 49},
    {1515, 862, 36},  {1601, 1879, 20}, {1695, 4378, 7},   {1799, 11267, 0},
    {1985, 60000, 0}, {UCI_ELO_MAX, FULL_STRENGTH_NODES, 0},
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

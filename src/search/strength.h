#pragma once
// The Elo ladder of UCI_LimitStrength and UCI_Elo: a level is a fixed amount of work per move (a node
// budget, so the same opponent at any clock) and, at the bottom of the scale, noise in the
// evaluation that misjudges positions the way a weak player does.
#include <cstdint>

namespace search {

constexpr int UCI_ELO_MIN = 1000;
constexpr int UCI_ELO_MAX = 2150;  // where full strength measured: no level
constexpr int UCI_ELO_DEFAULT = 1500;

struct StrengthLevel {
  uint64_t nodes = 0;  // the search stops once it has searched this many nodes; 0 = full strength
  int noise = 0;       // the evaluation is off by up to this much (internal units) either way
};

// The level that plays at `elo` (clamped to UCI_ELO_MIN..UCI_ELO_MAX); at UCI_ELO_MAX full strength.
StrengthLevel levelForElo(int elo);

}  // namespace search

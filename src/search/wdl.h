#pragma once
// Win, draw and loss chances of a search score, per mille, for the "wdl" part of the info line.
namespace search {

struct WdlChances {
  int win = 0;
  int draw = 1000;
  int loss = 0;
};

// The side to move's chances for a score (internal units) that is not a mate score, at the game's
// move number: a logistic curve in the score whose centre and width depend on the move number,
// fitted on the engine's own games. win + draw + loss = 1000; the score's negation swaps win and loss.
WdlChances wdlChances(int score, int moveNumber);

}  // namespace search

#pragma once
// Exchange values of the piece types (none, pawn, knight, bishop, rook, queen, king), in quarter
// centipawns, for the static exchange evaluation and the quiescence search's delta pruning.
namespace search {

inline constexpr int EXCHANGE_VALUE[8] = {0, 398, 1238, 1348, 1963, 3896, 0, 0};

}  // namespace search

#pragma once
// The time budget of one search: a soft deadline (no new iteration starts after it) and a hard
// deadline (the search stops at once), both absolute wall-clock milliseconds.
#include <cstdint>

namespace search {

struct Deadlines {
  int64_t softMs;
  int64_t hardMs;
};

// From the side to move's remaining time less the move overhead (never below 0), the increment,
// moves to go and full moves already played; the hard deadline is never later than startMs + that
// time. Untimed (no clock keyword, no "ponder"/"infinite") both deadlines are NO_DEADLINE; negative
// inputs read as 0.
Deadlines computeDeadlines(int64_t startMs, int64_t timeMs, int64_t incrementMs, int64_t movesToGo,
                           int64_t movesPlayed, int64_t overheadMs, bool timed);

}  // namespace search

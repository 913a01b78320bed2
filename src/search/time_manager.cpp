#include "search/time_manager.h"

#include <algorithm>

#include "search/limits.h"

namespace search {

Deadlines computeDeadlines(int64_t startMs, int64_t timeMs, int64_t incrementMs, int64_t movesToGo,
                           int64_t movesPlayed, int64_t overheadMs, bool timed) {
  if (!timed) return {NO_DEADLINE, NO_DEADLINE};
  const int64_t T = std::max<int64_t>(std::max<int64_t>(timeMs, 0) - std::max<int64_t>(overheadMs, 0), 0);
  const int64_t I = std::max<int64_t>(incrementMs, 0);
  const int64_t M = std::max<int64_t>(movesToGo, 0);
  const int64_t P = std::max<int64_t>(movesPlayed, 0);
  int64_t t;
  if (M == 0) {
    const int64_t divisor = I == 0 ? (P < 60 ? 120 - P : 60) : (P < 60 ? 64 - P : 4);
    t = 4 * T / divisor;
  } else {
    t = 2 * T / (M + 4);
  }
  int64_t hard;
  if (I == 0) {
    hard = std::min(T / 2, 2 * t);
  } else {
    t = std::min(t + I, T);
    hard = T > 2 * t ? 2 * t : 3 * T / 4;
  }
  return {startMs + 40 * t / 64, startMs + hard};
}

}  // namespace search

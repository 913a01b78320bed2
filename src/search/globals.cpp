#include "search/limits.h"
#include "search/thread.h"
#include "search/tt.h"

namespace search {

SearchLimits searchLimits;
std::array<SearchThread, MAX_THREADS> searchThreads;
TranspositionTable tt;

}  // namespace search

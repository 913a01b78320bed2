// Placeholder until the move loop lands: no split point is ever created.
#include "search/threads.h"

namespace search {

void splitPointLoop(SearchThread&, SplitPoint& sp) {
  sp.workers.store(0);
}

}  // namespace search

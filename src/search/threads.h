#pragma once
// The parallel search: helper threads that wait idle between split points, and the split itself.
// With one thread nothing here runs: startThreads creates no helper and the move loop never
// splits.
#include "search/split_point.h"
#include "search/thread.h"

namespace search {

// Split points created since the process started (diagnostics and tests).
extern std::atomic<uint64_t> splitsMade;
// Booked helpers released by their split point's owner before they had taken their place there
// (diagnostics and tests).
extern std::atomic<uint64_t> helpersReleased;
// Waits that outlasted their spin and parked the thread (diagnostics and tests).
extern std::atomic<uint64_t> waitsParked;
// Moves made by keepApart (diagnostics and tests).
extern std::atomic<uint64_t> movesApart;

// The processor count that startThreads assumes instead of the machine's when 0 or more (0: unknown,
// every thread may search); tests set it to exercise many searching threads on a small machine.
extern int processorOverride;

// Prepares thread 0 for a search (working, no split point) and starts threadCount - 1 helpers in
// their idle loop; returns once every helper has started. With more threads than processors, only
// the first `processors` threads ever search; the others stay parked until the search ends.
void startThreads(int threadCount);
// Keeps the searching threads on different processors. Run by a search thread at every clock check of
// the search and whenever it wakes to work: it notes its processor, and when another thread that works
// (not parked, not idle) was last seen on the same one, it moves to a processor where none was.
// Does nothing with one searching thread.
void keepApart(SearchThread& thread);
// Asks every helper to leave, joins them, and leaves thread 0 idle.
void stopThreads();

// The loop of a helper thread: waits for a split point to book it, helps there, waits again, until
// exitRequested is set.
void idleLoop(SearchThread& thread);

// The owner's and every helper's share of a split point: takes the split node's moves one at a time
// under its lock and searches them, until none is left or a move reached beta.
void splitPointLoop(SearchThread& thread, SplitPoint& sp);

// Whether the split point that the thread works for has been cut off (a move there reached beta).
inline bool splitPointStopped(const SearchThread& thread) {
  const SplitPoint* sp = thread.splitPoint.load(std::memory_order_relaxed);
  return sp != nullptr && sp->stopped.load(std::memory_order_relaxed) != 0;
}

}  // namespace search

#include "search/threads.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "board/make_move.h"
#include "platform/park.h"
#include "platform/processors.h"
#include "search/limits.h"
#include "search/move_loop.h"
#include "search/move_picker.h"
#include "search/search.h"
#include "search/tt.h"

namespace search {

platform::SpinLock splitLock;
std::atomic<uint64_t> splitsMade{0};
std::atomic<uint64_t> helpersReleased{0};
std::atomic<uint64_t> waitsParked{0};
std::atomic<uint64_t> movesApart{0};
int processorOverride = -1;

namespace {

// Set by startThreads before any helper exists and reset by stopThreads after all have been joined,
// so that every search thread reads them without a lock.
int activeThreads = 1;  // search threads of the running search, thread 0 included
// The threads that splits may book: threads 0 .. searchers - 1. With more threads than processors the
// rest are created but stay parked, because a searching thread without a processor only makes the
// others wait for it; the search then splits exactly as it would with one thread per processor.
int searchers = 1;
int splitDepth = 64;    // the least depth of a node that may be split
// How long a wait spins before it parks: a hand-over between threads that each have a processor
// takes well under this; a longer wait means the thread waited for is not running (the machine is
// busy) or has a long subtree to finish, and the processor is better given away.
constexpr int64_t SPIN_NS = 20000;

// Longest sleep of a parked thread between checks of its condition: a lost wake-up can cost no
// more, and a waiter also reads the clock at that pace. A thread that is never booked sleeps
// longer: only the end of the search wakes it.
constexpr int64_t PARK_TIMEOUT_US = 1000;
constexpr int64_t UNBOOKED_PARK_TIMEOUT_US = 100000;

int64_t steadyNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

void keepApart(SearchThread& thread) {
  if (searchers < 2) return;
  const int here = platform::currentProcessor();
  thread.processor.store(here, std::memory_order_relaxed);
  if (here < 0 || here >= 64) return;
  uint64_t taken = 0;  // where the other working threads were last seen
  for (int j = 0; j < searchers; ++j) {
    const SearchThread& other = searchThreads[j];
    if (j == thread.index || other.parked.load(std::memory_order_relaxed)) continue;
    const int state = other.state.load(std::memory_order_relaxed);
    const int there = other.processor.load(std::memory_order_relaxed);
    if (state == THREAD_IDLE || state == THREAD_STARTING || there < 0 || there >= 64) continue;
    taken |= uint64_t(1) << there;
  }
  if (((taken >> here) & 1) && platform::moveToOtherProcessor(taken)) {
    movesApart.fetch_add(1, std::memory_order_relaxed);
    thread.processor.store(platform::currentProcessor(), std::memory_order_relaxed);
  }
}

namespace {

// Waits until done() holds: spins for SPIN_NS, then parks until wake() or the timeout.
template <class Condition>
void waitUntil(SearchThread& thread, Condition done) {
  if (done()) return;
  const int64_t spinEnd = steadyNs() + SPIN_NS;
  const int64_t timeoutUs = thread.index < searchers ? PARK_TIMEOUT_US : UNBOOKED_PARK_TIMEOUT_US;
  for (int i = 1;; ++i) {
    platform::cpuPause();
    if (done()) return;
    if (i % 16 == 0 && steadyNs() >= spinEnd) break;
  }
  waitsParked.fetch_add(1, std::memory_order_relaxed);
  for (;;) {
    const uint32_t word = thread.wakeWord.load(std::memory_order_relaxed);
    thread.parked.store(1, std::memory_order_relaxed);
    // Pairs with the fence in wake(): either the waker sees `parked` or this check sees its change.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    if (done()) break;
    platform::parkWhile(thread.wakeWord, word, timeoutUs);
    thread.parked.store(0, std::memory_order_relaxed);
    if (done()) {
      // Woken to work, often onto the waker's processor.
      keepApart(thread);
      return;
    }
    // A waiter reads the clock too, so that a hard deadline is noticed even while the threads that
    // search have no processor.
    checkClock(thread);
  }
  thread.parked.store(0, std::memory_order_relaxed);
}

// Wakes the thread if it is parked; called after changing what it waits for.
void wake(SearchThread& thread) {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (thread.parked.load(std::memory_order_relaxed)) {
    thread.wakeWord.fetch_add(1, std::memory_order_relaxed);
    platform::unparkAll(thread.wakeWord);
  }
}

// Waits while the thread's state is `state` and it has not been asked to leave; returns the state
// it then has (acquire: a booked thread then sees everything its booker wrote).
int waitWhileState(SearchThread& thread, int state) {
  waitUntil(thread, [&] {
    return thread.state.load(std::memory_order_relaxed) != state ||
           thread.exitRequested.load(std::memory_order_relaxed);
  });
  return thread.state.load(std::memory_order_acquire);
}

// Work for the split point that booked the thread: take its place there (unless the owner has
// already released it), take over its position, wait for the go, search.
void helpBookedSplitPoint(SearchThread& thread) {
  SplitPoint* sp = thread.splitPoint.load(std::memory_order_relaxed);
  const uint64_t self = uint64_t(1) << thread.index;
  sp->lock.lock();
  const bool booked = (sp->workers.load(std::memory_order_relaxed) & self) != 0;
  if (booked) sp->joined.fetch_or(self, std::memory_order_relaxed);
  sp->lock.unlock();
  if (!booked) return;
  board::copyPosition(sp->positions, thread.position);
  if (waitWhileState(thread, THREAD_BOOKED) == THREAD_WORKING) splitPointLoop(thread, *sp);
}

}  // namespace

void idleLoop(SearchThread& thread) {
  prepareThreadTables(thread);
  thread.state.store(THREAD_IDLE, std::memory_order_release);
  wake(searchThreads[0]);  // the driver waits for every helper to start
  while (!thread.exitRequested.load(std::memory_order_acquire)) {
    // A booked thread may see its state only once it has already become THREAD_WORKING.
    if (waitWhileState(thread, THREAD_IDLE) != THREAD_IDLE) helpBookedSplitPoint(thread);
    thread.state.store(THREAD_IDLE, std::memory_order_release);
  }
}

void startThreads(int threadCount) {
  threadCount = std::clamp(threadCount, 1, MAX_THREADS);
  const int processors = processorOverride >= 0
                             ? processorOverride
                             : int(std::min(std::thread::hardware_concurrency(), unsigned(MAX_THREADS)));

  SearchThread& main = searchThreads[0];
  main.splitPoint.store(nullptr);
  main.nextSplitPoint = 0;
  main.exitRequested.store(0);
  main.state.store(THREAD_WORKING);
  main.processor.store(-1);

  activeThreads = threadCount;
  searchers = processors > 0 ? std::min(threadCount, processors) : threadCount;
  splitDepth = 3 + platform::floorLog2(uint64_t(searchers));
  for (int i = 1; i < threadCount; ++i) {
    SearchThread& helper = searchThreads[i];
    helper.index = i;
    helper.splitPoint.store(nullptr);
    helper.nextSplitPoint = 0;
    helper.exitRequested.store(0);
    helper.evalContext.drawScore = searchLimits.drawScore;
    helper.evalContext.strength = searchLimits.strength;
    helper.evalContext.rngState ^= 0x9E3779B97F4A7C15ULL * uint64_t(i);
    helper.nodes.store(0, std::memory_order_relaxed);
    helper.tbHits.store(0, std::memory_order_relaxed);
    helper.nextClockCheck = CLOCK_CHECK_INTERVAL;
    helper.processor.store(-1);
    helper.state.store(THREAD_STARTING);
    helper.handle = std::thread(idleLoop, std::ref(helper));
  }
  for (int i = 1; i < threadCount; ++i)
    waitUntil(main, [&] {
      return searchThreads[i].state.load(std::memory_order_acquire) != THREAD_STARTING;
    });
}

void stopThreads() {
  for (int i = 1; i < activeThreads; ++i) {
    searchThreads[i].exitRequested.store(1);
    wake(searchThreads[i]);
  }
  for (int i = 1; i < activeThreads; ++i)
    if (searchThreads[i].handle.joinable()) searchThreads[i].handle.join();
  activeThreads = 1;
  searchers = 1;
  splitDepth = 64;
  searchThreads[0].state.store(THREAD_IDLE);
}

void splitPointLoop(SearchThread& thread, SplitPoint& sp) {
  board::Position& pos = thread.position;
  const board::BoardState& node = board::currentState(pos);
  const bool inCheck = board::isInCheck(node);
  const uint64_t self = uint64_t(1) << thread.index;

  sp.lock.lock();
  for (;;) {
    if (sp.stopped.load(std::memory_order_relaxed) || stopRequested()) break;
    int32_t orderScore = 0;
    const board::Move move = nextMove(thread, *sp.picker, orderScore);
    if (!move) break;
    const int moveCount = ++sp.moveCount;
    const int alpha = sp.alpha;
    int extension = 0;
    const int reduction = moveReduction(node, move, orderScore, sp.picker->ttMove, inCheck,
                                        sp.nodeType, sp.depth, moveCount, sp.staticEval, alpha,
                                        extension);
    if (reduction < 0) continue;
    sp.lock.unlock();

    board::makeMove(pos, move, ttPrefetch);
    const int v = searchMadeMove(thread, sp.nodeType, sp.ply, sp.depth - 1 + extension, reduction,
                                 alpha, sp.beta, sp.nullAllowed, moveCount);
    board::unmakeMove(pos);

    sp.lock.lock();
    if (sp.stopped.load(std::memory_order_relaxed) || stopRequested()) break;
    if (v > sp.alpha) {
      sp.alpha = v;
      sp.bestMove = move;
      if (v >= sp.beta) {
        sp.stopped.store(1, std::memory_order_relaxed);
        break;
      }
    }
  }
  // The owner may leave and reuse the split point as soon as its workers are 0: nothing of it is read
  // after that.
  SearchThread& owner = searchThreads[size_t(sp.owner)];
  sp.workers.fetch_and(~self, std::memory_order_release);
  sp.lock.unlock();
  if (&owner != &thread) wake(owner);
}

bool trySplit(SearchThread& thread, MovePicker& picker, int nodeType, int ply, int depth,
              int& alpha, int beta, int staticEval, int nullAllowed, int moveCount,
              board::Move& bestMove) {
  if (!maySplit(searchers, depth, splitDepth, thread.nextSplitPoint)) return false;
  // A look without the lock first: most offers find every other thread busy.
  bool anyFree = false;
  for (int j = 0; j < searchers && !anyFree; ++j) {
    const int state = searchThreads[j].state.load(std::memory_order_relaxed);
    anyFree = j != thread.index && (state == THREAD_IDLE || state == THREAD_WAITING);
  }
  if (!anyFree) return false;

  splitLock.lock();
  int states[MAX_THREADS];
  uint64_t latestWorkers[MAX_THREADS];
  for (int j = 0; j < searchers; ++j) {
    const SearchThread& other = searchThreads[j];
    states[j] = other.state.load(std::memory_order_acquire);
    latestWorkers[j] = states[j] == THREAD_WAITING && other.nextSplitPoint > 0
                           ? other.splitPoints[other.nextSplitPoint - 1].workers.load()
                           : 0;
  }
  const uint64_t self = uint64_t(1) << thread.index;
  const uint64_t workers = chooseWorkers(thread.index, searchers, states, latestWorkers);
  if (workers == self) {
    splitLock.unlock();
    return false;
  }

  splitsMade.fetch_add(1, std::memory_order_relaxed);
  SplitPoint& sp = thread.splitPoints[thread.nextSplitPoint++];
  SplitPoint* const previous = thread.splitPoint.load(std::memory_order_relaxed);
  sp.nodeType = nodeType;
  sp.alpha = alpha;
  sp.beta = beta;
  sp.staticEval = staticEval;
  sp.moveCount = moveCount;
  sp.bestMove = bestMove;
  sp.depth = depth;
  sp.ply = ply;
  sp.nullAllowed = nullAllowed;
  sp.picker = &picker;
  sp.stopped.store(0, std::memory_order_relaxed);
  sp.workers.store(workers, std::memory_order_relaxed);
  sp.joined.store(self, std::memory_order_relaxed);
  sp.owner = thread.index;
  const int top = board::stackIndex(thread.position);
  std::copy(thread.position.states.begin(), thread.position.states.begin() + top + 1,
            sp.positions.states.begin());
  sp.positions.current = sp.positions.states.data() + top;
  thread.splitPoint.store(&sp, std::memory_order_relaxed);
  for (uint64_t helpers = workers & ~self; helpers;) {
    SearchThread& helper = searchThreads[platform::popLsb(helpers)];
    helper.splitPoint.store(&sp, std::memory_order_relaxed);
    helper.state.store(THREAD_BOOKED, std::memory_order_release);
  }
  splitLock.unlock();
  for (uint64_t helpers = workers & ~self; helpers;) {
    SearchThread& helper = searchThreads[platform::popLsb(helpers)];
    helper.state.store(THREAD_WORKING, std::memory_order_release);
    wake(helper);
  }

  splitPointLoop(thread, sp);

  // Booked helpers that have not yet taken their place (no processor came their way) are released
  // rather than waited for: they find themselves unbooked when they run and go back to idle.
  sp.lock.lock();
  const uint64_t unstarted = sp.workers.load(std::memory_order_relaxed) & ~sp.joined.load(std::memory_order_relaxed);
  if (unstarted) {
    sp.workers.fetch_and(~unstarted, std::memory_order_relaxed);
    helpersReleased.fetch_add(uint64_t(platform::popcount(unstarted)), std::memory_order_relaxed);
  }
  sp.lock.unlock();

  // Wait for the helpers; meanwhile help those of them that split below this point.
  bool helpedElsewhere = false;
  while (sp.workers.load(std::memory_order_acquire) != 0) {
    thread.state.store(THREAD_WAITING, std::memory_order_release);
    waitUntil(thread, [&] {
      return thread.state.load(std::memory_order_relaxed) != THREAD_WAITING ||
             sp.workers.load(std::memory_order_relaxed) == 0;
    });
    if (thread.state.load(std::memory_order_acquire) != THREAD_WAITING) {
      helpedElsewhere = true;
      helpBookedSplitPoint(thread);
    }
  }
  thread.state.store(THREAD_WORKING, std::memory_order_release);
  if (helpedElsewhere) {
    std::copy(sp.positions.states.begin(), sp.positions.states.begin() + top + 1,
              thread.position.states.begin());
    thread.position.current = thread.position.states.data() + top;
  }

  splitLock.lock();
  alpha = sp.alpha;
  bestMove = sp.bestMove;
  thread.splitPoint.store(previous, std::memory_order_relaxed);
  --thread.nextSplitPoint;
  splitLock.unlock();
  return true;
}

}  // namespace search

#include "search/threads.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "board/make_move.h"
#include "search/limits.h"
#include "search/move_loop.h"
#include "search/move_picker.h"
#include "search/search.h"
#include "search/tt.h"

namespace search {

std::atomic<int> oversubscribed{0};
std::mutex splitLock;
std::atomic<uint64_t> splitsMade{0};

namespace {

// Set by startThreads before any helper exists and reset by stopThreads after all have been joined,
// so that every search thread reads them without a lock.
int activeThreads = 1;  // search threads of the running search, thread 0 included
int splitDepth = 64;    // the least depth of a node that may be split

// Spins while the thread's state is `state` and it has not been asked to leave; returns the state
// it then has (acquire: a booked thread then sees everything its booker wrote).
int waitWhileState(SearchThread& thread, int state) {
  SpinWait wait;
  while (thread.state.load(std::memory_order_relaxed) == state &&
         !thread.exitRequested.load(std::memory_order_relaxed))
    wait.pause();
  return thread.state.load(std::memory_order_acquire);
}

// Work for the split point that booked the thread: take over its position, wait for the go, search.
void helpBookedSplitPoint(SearchThread& thread) {
  SplitPoint* sp = thread.splitPoint.load(std::memory_order_relaxed);
  board::copyPosition(sp->positions, thread.position);
  if (waitWhileState(thread, THREAD_BOOKED) == THREAD_WORKING) splitPointLoop(thread, *sp);
}

}  // namespace

void SpinWait::yieldProcessor() { std::this_thread::yield(); }
void SpinWait::sleepShortly() { std::this_thread::sleep_for(std::chrono::microseconds(50)); }

void idleLoop(SearchThread& thread) {
  prepareThreadTables(thread);
  while (!thread.exitRequested.load(std::memory_order_acquire)) {
    thread.state.store(THREAD_IDLE, std::memory_order_release);
    // A booked thread may see its state only once it has already become THREAD_WORKING.
    if (waitWhileState(thread, THREAD_IDLE) != THREAD_IDLE) helpBookedSplitPoint(thread);
  }
}

void startThreads(int threadCount) {
  threadCount = std::clamp(threadCount, 1, MAX_THREADS);
  const unsigned hardware = std::thread::hardware_concurrency();
  oversubscribed.store(hardware != 0 && unsigned(threadCount) > hardware ? 1 : 0);

  SearchThread& main = searchThreads[0];
  main.splitPoint.store(nullptr);
  main.nextSplitPoint = 0;
  main.exitRequested.store(0);
  main.state.store(THREAD_WORKING);

  activeThreads = threadCount;
  splitDepth = 3 + platform::floorLog2(uint64_t(threadCount));
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
    helper.state.store(THREAD_STARTING);
    helper.handle = std::thread(idleLoop, std::ref(helper));
  }
  for (int i = 1; i < threadCount; ++i) {
    SpinWait wait;
    while (searchThreads[i].state.load(std::memory_order_acquire) == THREAD_STARTING &&
           !searchThreads[i].exitRequested.load(std::memory_order_relaxed))
      wait.pause();
  }
}

void stopThreads() {
  for (int i = 1; i < activeThreads; ++i) searchThreads[i].exitRequested.store(1);
  for (int i = 1; i < activeThreads; ++i)
    if (searchThreads[i].handle.joinable()) searchThreads[i].handle.join();
  activeThreads = 1;
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
  sp.workers.fetch_and(~self, std::memory_order_release);
  sp.lock.unlock();
}

bool trySplit(SearchThread& thread, MovePicker& picker, int nodeType, int ply, int depth,
              int& alpha, int beta, int staticEval, int nullAllowed, int moveCount,
              board::Move& bestMove) {
  if (!maySplit(activeThreads, depth, splitDepth, thread.nextSplitPoint)) return false;
  // A look without the lock first: most offers find every other thread busy.
  bool anyFree = false;
  for (int j = 0; j < activeThreads && !anyFree; ++j) {
    const int state = searchThreads[j].state.load(std::memory_order_relaxed);
    anyFree = j != thread.index && (state == THREAD_IDLE || state == THREAD_WAITING);
  }
  if (!anyFree) return false;

  splitLock.lock();
  int states[MAX_THREADS];
  uint64_t latestWorkers[MAX_THREADS];
  for (int j = 0; j < activeThreads; ++j) {
    const SearchThread& other = searchThreads[j];
    states[j] = other.state.load(std::memory_order_acquire);
    latestWorkers[j] = states[j] == THREAD_WAITING && other.nextSplitPoint > 0
                           ? other.splitPoints[other.nextSplitPoint - 1].workers.load()
                           : 0;
  }
  const uint64_t self = uint64_t(1) << thread.index;
  const uint64_t workers = chooseWorkers(thread.index, activeThreads, states, latestWorkers);
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
  for (uint64_t helpers = workers & ~self; helpers;)
    searchThreads[platform::popLsb(helpers)].state.store(THREAD_WORKING, std::memory_order_release);

  splitPointLoop(thread, sp);

  // Wait for the helpers; meanwhile help those of them that split below this point.
  bool helpedElsewhere = false;
  while (sp.workers.load(std::memory_order_acquire) != 0) {
    thread.state.store(THREAD_WAITING, std::memory_order_release);
    SpinWait wait;
    while (thread.state.load(std::memory_order_relaxed) == THREAD_WAITING &&
           sp.workers.load(std::memory_order_relaxed) != 0)
      wait.pause();
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

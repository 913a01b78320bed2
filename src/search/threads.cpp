#include "search/threads.h"

#include <thread>

#include "search/limits.h"

namespace search {

std::atomic<int> oversubscribed{0};
std::mutex splitLock;

namespace {

int helperCount = 0;  // helpers started by the running search (thread 0's view only)

// Spins while the thread's state is `state` and it has not been asked to leave; returns the state
// it then has (acquire: a booked thread then sees everything its booker wrote).
int waitWhileState(SearchThread& thread, int state) {
  SpinWait wait;
  while (thread.state.load(std::memory_order_relaxed) == state &&
         !thread.exitRequested.load(std::memory_order_relaxed))
    wait.pause();
  return thread.state.load(std::memory_order_acquire);
}

}  // namespace

void SpinWait::yieldProcessor() { std::this_thread::yield(); }

void resetThreadTables(SearchThread& thread) {
  auto& killers = thread.killers;
  for (int ply = 0; ply + 2 < MAX_PLY; ++ply) killers[ply] = killers[ply + 2];
  killers[MAX_PLY - 2] = {};
  killers[MAX_PLY - 1] = {};
  for (auto& bucket : thread.history) bucket.fill(0);
}

// Work for the split point that booked the thread: take over its position, wait for the go, search.
void helpBookedSplitPoint(SearchThread& thread) {
  SplitPoint* sp = thread.splitPoint.load(std::memory_order_relaxed);
  board::copyPosition(sp->positions, thread.position);
  if (waitWhileState(thread, THREAD_BOOKED) == THREAD_WORKING) splitPointLoop(thread, *sp);
}

void idleLoop(SearchThread& thread) {
  resetThreadTables(thread);
  while (!thread.exitRequested.load(std::memory_order_acquire)) {
    thread.state.store(THREAD_IDLE, std::memory_order_release);
    // A booked thread may see its state only once it has already become THREAD_WORKING.
    if (waitWhileState(thread, THREAD_IDLE) != THREAD_IDLE) helpBookedSplitPoint(thread);
  }
}

void startThreads(int threadCount) {
  if (threadCount > MAX_THREADS) threadCount = MAX_THREADS;
  const unsigned hardware = std::thread::hardware_concurrency();
  oversubscribed.store(hardware != 0 && unsigned(threadCount) > hardware ? 1 : 0);

  SearchThread& main = searchThreads[0];
  main.splitPoint.store(nullptr);
  main.nextSplitPoint = 0;
  main.exitRequested.store(0);
  main.state.store(THREAD_WORKING);

  helperCount = threadCount - 1;
  for (int i = 1; i < threadCount; ++i) {
    SearchThread& helper = searchThreads[i];
    helper.index = i;
    helper.splitPoint.store(nullptr);
    helper.nextSplitPoint = 0;
    helper.exitRequested.store(0);
    helper.evalContext.drawScore = searchLimits.drawScore;
    helper.evalContext.strength = searchLimits.strength;
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
  for (int i = 1; i <= helperCount; ++i) searchThreads[i].exitRequested.store(1);
  for (int i = 1; i <= helperCount; ++i)
    if (searchThreads[i].handle.joinable()) searchThreads[i].handle.join();
  helperCount = 0;
  searchThreads[0].state.store(THREAD_IDLE);
}

}  // namespace search

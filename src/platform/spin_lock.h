#pragma once
// A lock for sections of a few hundred instructions that several search threads may want at once
// (a split point's move picker, the booking of helpers): a waiter spins with the pause hint instead
// of sleeping in the kernel, because a sleep and a wake-up through the kernel cost more than the
// whole section. A waiter that has spun for long (its holder has lost its processor to another
// program) yields its processor between tries.
#include <atomic>
#include <thread>

#include "platform/bits.h"

namespace platform {

class SpinLock {
 public:
  void lock() {
    for (int spins = 0;;) {
      if (!held_.exchange(true, std::memory_order_acquire)) return;
      // Wait reading only, so that the holder's cache line is not taken from it at every try.
      while (held_.load(std::memory_order_relaxed)) {
        if (++spins < SPINS_BEFORE_YIELD)
          cpuPause();
        else
          std::this_thread::yield();
      }
    }
  }
  void unlock() { held_.store(false, std::memory_order_release); }

 private:
  static constexpr int SPINS_BEFORE_YIELD = 4096;  // some tens of microseconds
  std::atomic<bool> held_{false};
};

}  // namespace platform

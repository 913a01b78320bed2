#include "platform/clock.h"

#if !defined(_WIN32)
#include <sys/time.h>
#endif

#include <chrono>
#include <thread>

namespace platform {

#if defined(_WIN32)

// The system clock has no seconds-and-microseconds call here; the standard library's wall clock
// gives the same reading.
namespace {
int64_t wallMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}
}  // namespace

int64_t nowMs() { return wallMicroseconds() / 1000; }

int64_t nowMicroseconds() { return wallMicroseconds() % 1000000; }

#else

int64_t nowMs() {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  return int64_t(tv.tv_sec) * 1000 + tv.tv_usec / 1000;
}

int64_t nowMicroseconds() {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  return tv.tv_usec;
}

#endif

void sleepMs(int64_t ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace platform

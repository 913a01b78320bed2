#include "platform/clock.h"

#include <sys/time.h>

#include <chrono>
#include <thread>

namespace platform {

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

void sleepMs(int64_t ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace platform

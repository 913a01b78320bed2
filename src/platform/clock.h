#pragma once
// Wall clock and sleeping.
#include <cstdint>

namespace platform {

// Wall-clock milliseconds: seconds * 1000 + microseconds / 1000.
int64_t nowMs();

// The microseconds field (0..999999) of the current wall-clock time.
int64_t nowMicroseconds();

void sleepMs(int64_t ms);

}  // namespace platform

#pragma once
// Parking a thread on a 32-bit word: the sleeping half of the search threads' waits. A waiter reads
// the word, checks its condition, and parks while the word still holds what it read; whoever changes
// the condition changes the word too and unparks. The operating system keeps no CPU busy meanwhile.
#include <atomic>
#include <cstdint>

namespace platform {

// Sleeps while `word` holds `expected`, for at most `timeoutUs` microseconds. May return early
// (spuriously): the caller checks its condition again.
void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs);

// Wakes every thread parked on `word`.
void unparkAll(std::atomic<uint32_t>& word);

}  // namespace platform

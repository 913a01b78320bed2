#pragma once
// Bit helpers on 64-bit words: population count, lowest/highest set bit, byte reversal, CPU pause hint.
#include <bit>
#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace platform {

constexpr int popcount(uint64_t b) { return std::popcount(b); }

// Index of the lowest set bit; b must be non-zero.
constexpr int lsb(uint64_t b) { return std::countr_zero(b); }

// Index of the highest set bit; b must be non-zero.
constexpr int msb(uint64_t b) { return 63 - std::countl_zero(b); }

// Clears the lowest set bit and returns its index; b must be non-zero.
inline int popLsb(uint64_t& b) {
  const int s = lsb(b);
  b &= b - 1;
  return s;
}

// Byte reversal: rank 1 swaps with rank 8, rank 2 with rank 7, ...; files stay.
constexpr uint64_t byteSwap(uint64_t b) { return __builtin_bswap64(b); }

// Index of the highest set bit of a positive value (floor of log2); 0 for 0 and 1.
constexpr int floorLog2(uint64_t x) { return x ? msb(x) : 0; }

// Starts loading the cache line of an address (never faults). An asm statement rather than the
// builtin: the compiler treats a builtin prefetch as free of effects and deletes a function or loop
// made of nothing else.
inline void prefetch(const void* address) {
#if defined(__x86_64__) || defined(__i386__)
  asm volatile("prefetcht0 (%0)" : : "r"(address));
#else
  __builtin_prefetch(address);
#endif
}

// Spin-wait hint for the processor.
inline void cpuPause() {
#if defined(__x86_64__) || defined(__i386__)
  _mm_pause();
#elif defined(__aarch64__) || defined(__arm__)
  asm volatile("yield");
#endif
}

}  // namespace platform

#include "platform/park.h"

#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#else
#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#endif

namespace platform {

#if defined(__linux__)

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free,
              "the kernel waits on the atomic's own 32 bits");

void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs) {
  const timespec timeout{time_t(timeoutUs / 1000000), long(timeoutUs % 1000000) * 1000};
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, &timeout, nullptr, 0);
}

void unparkAll(std::atomic<uint32_t>& word) {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr, nullptr, 0);
}

#else

// Elsewhere (Windows, macOS) a small table of condition variables, chosen by the word's address. The
// waker changes the word before it takes the bucket's lock, and the waiter compares the word under
// that lock, so no wake-up is lost.
namespace {
struct Bucket {
  std::mutex lock;
  std::condition_variable changed;
};
std::array<Bucket, 64> buckets;

Bucket& bucketOf(const void* address) { return buckets[(reinterpret_cast<uintptr_t>(address) >> 6) % buckets.size()]; }
}  // namespace

void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs) {
  Bucket& bucket = bucketOf(&word);
  std::unique_lock<std::mutex> hold(bucket.lock);
  if (word.load(std::memory_order_relaxed) == expected)
    bucket.changed.wait_for(hold, std::chrono::microseconds(timeoutUs));
}

void unparkAll(std::atomic<uint32_t>& word) {
  Bucket& bucket = bucketOf(&word);
  { std::lock_guard<std::mutex> hold(bucket.lock); }
  bucket.changed.notify_all();
}

#endif

}  // namespace platform

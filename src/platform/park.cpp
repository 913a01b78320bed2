#include "platform/park.h"

#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#elif defined(_WIN32)
#if !defined(_WIN32_WINNT) || _WIN32_WINNT < 0x0602
#undef _WIN32_WINNT
#define _WIN32_WINNT 0x0602  // WaitOnAddress: Windows 8 and later
#endif
#include <windows.h>
#else
#include <chrono>
#include <thread>
#endif

namespace platform {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free,
              "the kernel waits on the atomic's own 32 bits");

#if defined(__linux__)

void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs) {
  const timespec timeout{time_t(timeoutUs / 1000000), long(timeoutUs % 1000000) * 1000};
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, &timeout, nullptr, 0);
}

void unparkAll(std::atomic<uint32_t>& word) {
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr, nullptr, 0);
}

#elif defined(_WIN32)

void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs) {
  WaitOnAddress(reinterpret_cast<volatile VOID*>(&word), &expected, sizeof expected,
                DWORD((timeoutUs + 999) / 1000));
}

void unparkAll(std::atomic<uint32_t>& word) { WakeByAddressAll(reinterpret_cast<PVOID>(&word)); }

#else

// No kernel wait on an address here: a short sleep between checks.
void parkWhile(std::atomic<uint32_t>& word, uint32_t expected, int64_t timeoutUs) {
  if (word.load(std::memory_order_relaxed) == expected)
    std::this_thread::sleep_for(std::chrono::microseconds(timeoutUs < 50 ? timeoutUs : 50));
}

void unparkAll(std::atomic<uint32_t>&) {}

#endif

}  // namespace platform

#include "platform/memory.h"

#include <cstdint>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>

#include <cerrno>
#endif

namespace platform {

#if defined(_WIN32)

// VirtualAlloc hands out committed pages that read as zero; writing one byte per page makes the
// system supply them now.
void* allocateZeroedBlock(size_t bytes) {
  void* block = VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (!block) return nullptr;
  SYSTEM_INFO info{};
  GetSystemInfo(&info);
  auto* bytesOut = static_cast<volatile char*>(block);
  for (size_t i = 0; i < bytes; i += info.dwPageSize) bytesOut[i] = 0;
  return block;
}

void releaseZeroedBlock(void* block, size_t) {
  if (block) VirtualFree(block, 0, MEM_RELEASE);
}

void* allocateTableBlock(size_t bytes) {
  return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

#else

// A fresh anonymous mapping (zero pages by definition), backed by huge pages where the kernel allows
// and populated at once, so that the search meets no page faults.
void* allocateZeroedBlock(size_t bytes) {
  void* block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) return nullptr;
#if defined(MADV_HUGEPAGE)
  madvise(block, bytes, MADV_HUGEPAGE);
#endif
#if defined(MADV_POPULATE_WRITE)
  if (madvise(block, bytes, MADV_POPULATE_WRITE) == 0) return block;
  if (errno == ENOMEM) {
    munmap(block, bytes);
    return nullptr;
  }
#endif
  std::memset(block, 0, bytes);  // touches every page now rather than during the search
  return block;
}

void releaseZeroedBlock(void* block, size_t bytes) {
  if (block) munmap(block, bytes);
}

// Maps one huge page more than needed and starts the table at the first 2 MB boundary inside; the
// unused head and tail are never touched, so they cost address space only.
void* allocateTableBlock(size_t bytes) {
  constexpr size_t HUGE_PAGE = size_t(1) << 21;
  const size_t rounded = (bytes + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
  void* mapping = mmap(nullptr, rounded + HUGE_PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) return nullptr;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(mapping) + HUGE_PAGE - 1) & ~uintptr_t(HUGE_PAGE - 1);
  void* block = reinterpret_cast<void*>(start);
#if defined(MADV_HUGEPAGE)
  madvise(block, rounded, MADV_HUGEPAGE);
#endif
  return block;
}

#endif

}  // namespace platform

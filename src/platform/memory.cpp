#include "platform/memory.h"

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

void adviseHugePages(void*, size_t) {}

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

void adviseHugePages([[maybe_unused]] void* start, [[maybe_unused]] size_t bytes) {
#if defined(MADV_HUGEPAGE)
  madvise(start, bytes, MADV_HUGEPAGE);
#endif
}

#endif

}  // namespace platform

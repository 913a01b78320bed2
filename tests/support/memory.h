#pragma once
// Small memory checks shared by the tests.
#include <cstddef>

namespace testsupport {

// True when every byte of the range is zero.
inline bool allZero(const void* memory, size_t bytes) {
  const auto* p = static_cast<const unsigned char*>(memory);
  for (size_t i = 0; i < bytes; ++i)
    if (p[i]) return false;
  return true;
}

}  // namespace testsupport

#include "platform/output.h"

#include <cstdio>
#include <mutex>

namespace platform {

namespace {
std::mutex outputLock;
}

void printLine(const char* format, ...) {
  std::lock_guard<std::mutex> guard(outputLock);
  va_list args;
  va_start(args, format);
  std::vfprintf(stdout, format, args);
  va_end(args);
}

void writeOut(const char* text, int length) {
  std::lock_guard<std::mutex> guard(outputLock);
  std::fwrite(text, 1, size_t(length), stdout);
}

void flushOut() {
  std::lock_guard<std::mutex> guard(outputLock);
  std::fflush(stdout);
}

}  // namespace platform

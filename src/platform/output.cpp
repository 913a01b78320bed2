#include "platform/output.h"

#include <cstdio>
#include <mutex>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace platform {

namespace {
std::mutex outputLock;
}

void initStandardStreams() {
#if defined(_WIN32)
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
#endif
}

void printLine(const char* format, ...) {
  std::lock_guard<std::mutex> guard(outputLock);
  va_list args;
  va_start(args, format);
  std::vfprintf(stdout, format, args);
  va_end(args);
}

void flushOut() {
  std::lock_guard<std::mutex> guard(outputLock);
  std::fflush(stdout);
}

}  // namespace platform

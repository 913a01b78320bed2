#include "platform/log_file.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace platform {

namespace {
std::mutex logLock;
std::FILE* logHandle = nullptr;
}  // namespace

bool logOpen(const char* path) {
  std::lock_guard<std::mutex> guard(logLock);
  if (logHandle) std::fclose(logHandle);
  logHandle = std::fopen(path, "a");
  return logHandle != nullptr;
}

void logClose() {
  std::lock_guard<std::mutex> guard(logLock);
  if (logHandle) std::fclose(logHandle);
  logHandle = nullptr;
}

bool logIsOpen() {
  std::lock_guard<std::mutex> guard(logLock);
  return logHandle != nullptr;
}

void logWrite(const char* text, int length) {
  std::lock_guard<std::mutex> guard(logLock);
  if (logHandle) std::fwrite(text, 1, size_t(length), logHandle);
}

void logPrint(const char* format, ...) {
  std::lock_guard<std::mutex> guard(logLock);
  if (!logHandle) return;
  va_list args;
  va_start(args, format);
  std::vfprintf(logHandle, format, args);
  va_end(args);
}

void logFlush() {
  std::lock_guard<std::mutex> guard(logLock);
  if (logHandle) std::fflush(logHandle);
}

}  // namespace platform

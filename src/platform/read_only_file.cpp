#include "platform/read_only_file.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace platform {

#if defined(_WIN32)

namespace {
HANDLE toHandle(FileHandle file) { return reinterpret_cast<HANDLE>(file); }
}  // namespace

FileHandle openReadOnly(const char* path) {
  if (path == nullptr || path[0] == '\0') return NO_FILE;
  HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return NO_FILE;
  if (GetFileType(file) != FILE_TYPE_DISK) {  // a console, a pipe, a device such as NUL
    CloseHandle(file);
    return NO_FILE;
  }
  return reinterpret_cast<FileHandle>(file);
}

void closeFile(FileHandle file) {
  if (file != NO_FILE) CloseHandle(toHandle(file));
}

int64_t fileSize(FileHandle file) {
  if (file == NO_FILE) return -1;
  DWORD sizeHigh = 0;
  const DWORD sizeLow = GetFileSize(toHandle(file), &sizeHigh);
  if (sizeLow == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return -1;
  return int64_t((uint64_t(sizeHigh) << 32) | sizeLow);
}

// A read with an offset in its OVERLAPPED record starts there whatever the handle's file pointer.
bool readAt(FileHandle file, int64_t offset, void* buffer, int64_t length) {
  if (file == NO_FILE || offset < 0 || length < 0) return false;
  auto* out = static_cast<char*>(buffer);
  while (length > 0) {
    OVERLAPPED at{};
    at.Offset = DWORD(uint64_t(offset) & 0xFFFFFFFFu);
    at.OffsetHigh = DWORD(uint64_t(offset) >> 32);
    const DWORD want = DWORD(length < 0x40000000 ? length : 0x40000000);
    DWORD got = 0;
    if (!ReadFile(toHandle(file), out, want, &got, &at) || got == 0) return false;
    out += got;
    offset += got;
    length -= got;
  }
  return true;
}

#else

FileHandle openReadOnly(const char* path) {
  if (path == nullptr || path[0] == '\0') return NO_FILE;
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return NO_FILE;
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return NO_FILE;
  }
  return fd;
}

void closeFile(FileHandle file) {
  if (file >= 0) ::close(int(file));
}

int64_t fileSize(FileHandle file) {
  struct stat info {};
  if (file < 0 || ::fstat(int(file), &info) != 0) return -1;
  return int64_t(info.st_size);
}

bool readAt(FileHandle file, int64_t offset, void* buffer, int64_t length) {
  if (file < 0 || offset < 0 || length < 0) return false;
  auto* out = static_cast<char*>(buffer);
  while (length > 0) {
    const ssize_t got = ::pread(int(file), out, size_t(length), off_t(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    offset += got;
    length -= got;
  }
  return true;
}

#endif

}  // namespace platform

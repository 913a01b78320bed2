#include "platform/read_only_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

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
  if (file >= 0) ::close(file);
}

int64_t fileSize(FileHandle file) {
  struct stat info {};
  if (file < 0 || ::fstat(file, &info) != 0) return -1;
  return int64_t(info.st_size);
}

bool readAt(FileHandle file, int64_t offset, void* buffer, int64_t length) {
  if (file < 0 || offset < 0 || length < 0) return false;
  auto* out = static_cast<char*>(buffer);
  while (length > 0) {
    const ssize_t got = ::pread(file, out, size_t(length), off_t(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    offset += got;
    length -= got;
  }
  return true;
}

}  // namespace platform

#include "platform/file_map.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

MapResult mapFile(const char* path, MappedFile& out, int& error) {
  out = MappedFile{};
  error = 0;
  // Non-blocking, so that a named pipe does not wait for a writer; anything but a regular file is
  // taken as absent.
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return MapResult::NOT_FOUND;
  struct stat info {};
  if (::fstat(fd, &info) != 0) {
    error = errno;
    ::close(fd);
    return MapResult::FAILED;
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    return MapResult::NOT_FOUND;
  }
  if (info.st_size == 0) {
    ::close(fd);
    return MapResult::OK;
  }
  void* view = ::mmap(nullptr, size_t(info.st_size), PROT_READ, MAP_SHARED, fd, 0);
  error = view == MAP_FAILED ? errno : 0;
  ::close(fd);
  if (view == MAP_FAILED) return MapResult::FAILED;
  out.data = static_cast<const uint8_t*>(view);
  out.size = size_t(info.st_size);
  return MapResult::OK;
}

void unmapFile(MappedFile& file) {
  if (file.data) ::munmap(const_cast<uint8_t*>(file.data), file.size);
  file = MappedFile{};
}

bool fileReadable(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  struct stat info {};
  const bool regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  ::close(fd);
  return regular;
}

}  // namespace platform

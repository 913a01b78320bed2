#include "platform/file_map.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace platform {

#if defined(_WIN32)

namespace {

// Opens a regular disk file for reading, others may read it too; INVALID_HANDLE_VALUE for anything
// missing, unreadable, a directory or a device.
HANDLE openForMapping(const char* path) {
  HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE && GetFileType(file) != FILE_TYPE_DISK) {
    CloseHandle(file);
    return INVALID_HANDLE_VALUE;
  }
  return file;
}

}  // namespace

// The view keeps the mapping object alive, so both handles are closed once the view exists and
// UnmapViewOfFile alone releases everything.
MapResult mapFile(const char* path, MappedFile& out, int& error) {
  out = MappedFile{};
  error = 0;
  HANDLE file = openForMapping(path);
  if (file == INVALID_HANDLE_VALUE) return MapResult::NOT_FOUND;
  DWORD sizeHigh = 0;
  const DWORD sizeLow = GetFileSize(file, &sizeHigh);
  if (sizeLow == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) {
    error = int(GetLastError());
    CloseHandle(file);
    return MapResult::FAILED;
  }
  const uint64_t size = (uint64_t(sizeHigh) << 32) | sizeLow;
  if (size == 0) {  // a mapping of an empty file cannot be created
    CloseHandle(file);
    return MapResult::OK;
  }
  HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (!mapping) {
    error = int(GetLastError());
    CloseHandle(file);
    return MapResult::FAILED;
  }
  const void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
  error = view ? 0 : int(GetLastError());
  CloseHandle(mapping);
  CloseHandle(file);
  if (!view) return MapResult::FAILED;
  out.data = static_cast<const uint8_t*>(view);
  out.size = size_t(size);
  return MapResult::OK;
}

void unmapFile(MappedFile& file) {
  if (file.data) UnmapViewOfFile(file.data);
  file = MappedFile{};
}

bool fileReadable(const char* path) {
  HANDLE file = openForMapping(path);
  if (file == INVALID_HANDLE_VALUE) return false;
  CloseHandle(file);
  return true;
}

#else

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

#endif

}  // namespace platform

#pragma once
// Read-only memory mapping of whole files.
#include <cstddef>
#include <cstdint>

namespace platform {

// A mapped file: the bytes of the whole file, read-only, valid until unmapFile. An empty file is
// mapped as data = nullptr, size = 0.
struct MappedFile {
  const uint8_t* data = nullptr;
  size_t size = 0;
};

enum class MapResult { OK, NOT_FOUND, FAILED };

// Maps the whole file at path. NOT_FOUND when it cannot be opened for reading; FAILED (with the
// system error number in error) when it opens but cannot be sized or mapped.
MapResult mapFile(const char* path, MappedFile& out, int& error);

// Releases a mapping made by mapFile and clears it; a cleared mapping is ignored.
void unmapFile(MappedFile& file);

// Whether the file at path can be opened for reading.
bool fileReadable(const char* path);

// Separators of a list of directories in one text: ";" everywhere, and ":" too where no path holds a
// drive letter (on Windows C:\tb is one directory).
constexpr bool isPathListSeparator(char c) {
#if defined(_WIN32)
  return c == ';';
#else
  return c == ';' || c == ':';
#endif
}

}  // namespace platform

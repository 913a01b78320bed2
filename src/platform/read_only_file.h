#pragma once
// Reading a regular file by offset, without loading it: open, size, positioned reads, close.
// Positioned reads keep no file offset, so one open file may be read from any thread.
#include <cstdint>

namespace platform {

// An open file: a descriptor, or on Windows a handle; -1 for none.
using FileHandle = intptr_t;
constexpr FileHandle NO_FILE = -1;

// Opens a regular file for reading raw bytes; NO_FILE when it is missing, unreadable or not a
// regular file (a directory, a pipe).
FileHandle openReadOnly(const char* path);
void closeFile(FileHandle file);

// Current size in bytes; -1 on failure.
int64_t fileSize(FileHandle file);

// Reads exactly `length` bytes at `offset`; false on any failure or a short read (end of file).
bool readAt(FileHandle file, int64_t offset, void* buffer, int64_t length);

}  // namespace platform

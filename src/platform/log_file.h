#pragma once
// The optional log file: an append-mode text file that receives copies of "go" lines and of the
// search's output. All functions are safe to call from any thread; writes without an open file are
// skipped.
namespace platform {

bool logOpen(const char* path);  // opens for appending, creating the file; false on failure
void logClose();
bool logIsOpen();
void logWrite(const char* text, int length);
void logPrint(const char* format, ...) __attribute__((format(printf, 1, 2)));
void logFlush();

}  // namespace platform

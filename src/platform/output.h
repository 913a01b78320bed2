#pragma once
// Line-oriented standard output shared by all threads: one lock per printed line, so lines of two
// threads never interleave.
#include <cstdarg>

namespace platform {

// Prints one formatted piece of text under the output lock (callers pass whole lines).
void printLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Writes raw text of the given length under the output lock.
void writeOut(const char* text, int length);

void flushOut();

}  // namespace platform

#pragma once
// Line-oriented standard output shared by all threads: one lock per printed line, so lines of two
// threads never interleave.
#include <cstdarg>

namespace platform {

// Puts standard input and output into byte mode where the system has a text mode (Windows), so that
// every line ends with a plain "\n" as on Linux; called once at start-up.
void initStandardStreams();

// Prints one formatted piece of text under the output lock (callers pass whole lines).
void printLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

void flushOut();

}  // namespace platform

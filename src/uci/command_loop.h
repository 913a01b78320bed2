#pragma once
#include <cstdio>

namespace uci {

constexpr int LINE_BUFFER_SIZE = 4096;

// Builds the global tables in their start-up order (keys, evaluation values, attack tables).
void initEngine();

// The UCI command loop on the given input; returns the process exit code.
int commandLoop(std::FILE* input);

// Handles one line (newline included) as the loop would; returns false for "quit".
bool handleLine(const char* line);

}  // namespace uci

#pragma once
// Handlers of the command loop.
namespace uci {

// "position ...": sets up the root position (running newGame first when no hash memory exists).
void handlePosition(const char* line);
// "go ...": fills searchLimits and the root moves, then starts the search thread.
void handleGo(const char* line);
// "ucinewgame" (and the first "position"): killers, table age, hash sizing and clearing, tablebase
// registration once per process, book and log files.
void newGame();
// Shutdown: closes the book and the log, releases the hash memory.
void releaseResources();
// Whether the hash memory exists (a first newGame has run).
bool hashAllocated();

}  // namespace uci

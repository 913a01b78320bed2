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
// "Clear Hash": zeroes the transposition table and the pawn cache in place (age 0) and the killers and
// history of the threads in use, leaving the book, the tablebases and the log alone. During a search
// it waits for the next "go" (applyPendingClearHash), so the running search is not disturbed.
void clearHash();
void applyPendingClearHash();
// Shutdown: closes the book and the log, releases the hash memory.
void releaseResources();
// Whether the hash memory exists (a first newGame has run).
bool hashAllocated();

}  // namespace uci

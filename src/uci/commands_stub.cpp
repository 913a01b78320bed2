// Placeholder until the position, go and new-game handlers land.
#include "uci/commands.h"

namespace uci {

void handlePosition(const char*) {}
void handleGo(const char*) {}
void newGame() {}
void releaseResources() {}
bool hashAllocated() { return false; }

}  // namespace uci

// Tesmar: a UCI chess engine. Without arguments it is the plain UCI engine on standard input and
// output; command-line words select a developer tool.
#include <cstdio>
#include <cstring>

#include "platform/output.h"
#include "uci/command_loop.h"
#include "uci/tools.h"

int main(int argc, char** argv) {
  platform::initStandardStreams();
  uci::initEngine();
  if (argc > 1) return uci::runTool(argc, argv);
  return uci::commandLoop(stdin);
}

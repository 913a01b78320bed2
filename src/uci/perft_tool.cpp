#include <cstdio>

#include "uci/tool_commands.h"

namespace uci {

// Placeholder until the tool lands.
int runPerftTool(int, char**) {
  std::fprintf(stderr, "tesmar: the perft tool is not available yet\n");
  return 2;
}

}  // namespace uci

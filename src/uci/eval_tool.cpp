#include <cstdio>

#include "uci/tool_commands.h"

namespace uci {

// Placeholder until the tool lands.
int runEvalTool(int, char**) {
  std::fprintf(stderr, "tesmar: the eval tool is not available yet\n");
  return 2;
}

}  // namespace uci

#include <cstdio>

#include "uci/tool_commands.h"

namespace uci {

// Placeholder until the tool lands.
int runProbeTool(int, char**) {
  std::fprintf(stderr, "tesmar: the probe tool is not available yet\n");
  return 2;
}

}  // namespace uci

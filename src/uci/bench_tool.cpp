#include <cstdio>

#include "uci/tool_commands.h"

namespace uci {

// Placeholder until the tool lands.
int runBenchTool(int, char**) {
  std::fprintf(stderr, "tesmar: the bench tool is not available yet\n");
  return 2;
}

}  // namespace uci

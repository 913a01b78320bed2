#include "uci/tools.h"

#include <cstdio>
#include <cstring>

#include "uci/tool_commands.h"

namespace uci {

int runTool(int argc, char** argv) {
  const char* name = argv[1];
  if (std::strcmp(name, "perft") == 0) return runPerftTool(argc - 2, argv + 2);
  if (std::strcmp(name, "bench") == 0) return runBenchTool(argc - 2, argv + 2);
  if (std::strcmp(name, "eval") == 0) return runEvalTool(argc - 2, argv + 2);
  if (std::strcmp(name, "probe") == 0) return runProbeTool(argc - 2, argv + 2);
  std::fprintf(stderr,
               "usage: tesmar [perft <depth> [FEN] | bench [depth] [threads] | eval [FEN] | probe <syzygy-path> <FEN>]\n"
               "Without arguments Tesmar is a UCI engine on standard input and output.\n");
  return 2;
}

}  // namespace uci

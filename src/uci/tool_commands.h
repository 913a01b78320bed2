#pragma once
// The command-line tools; each takes the words after the tool's name and returns an exit code.
namespace uci {

int runPerftTool(int argc, char** argv);  // perft <depth> [FEN]
int runBenchTool(int argc, char** argv);  // bench [depth]
int runEvalTool(int argc, char** argv);   // eval [FEN]
int runProbeTool(int argc, char** argv);  // probe <syzygy-path> <FEN>

}  // namespace uci

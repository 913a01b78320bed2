#pragma once
// Developer tools selected by command-line words: perft, bench, eval, probe.
namespace uci {

// argv[1] names the tool; returns the process exit code (2 for an unknown tool).
int runTool(int argc, char** argv);

}  // namespace uci

// Placeholder until the tablebase reader lands: no tables, every probe fails.
#include "tablebase/tablebase.h"

namespace tb {

void initTablebases(const char*) {}
int largestTable() { return 0; }
int probeWdl(board::Position&, int& success) { success = 0; return 0; }
int probeDtz(board::Position&, int& success) { success = 0; return 0; }
bool rootProbe(board::Position&, board::Move*, int&, int&) { return false; }

}  // namespace tb

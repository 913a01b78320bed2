// The "tesmar eval" tool through the real binary: the breakdown's groups, the last line, exit codes.
#include <gtest/gtest.h>

#include <string>

#include "support/engine_process.h"

namespace {

TEST(E2EEvalTool, PrintsTheBreakdownAndTheFinalScore) {
  testsupport::EngineProcess start("", {"eval"});
  std::string text;  // a line break before each line
  while (auto line = start.readLine(10000)) text += "\n" + *line;
  EXPECT_EQ(start.waitExit(), 0);
  EXPECT_EQ(text.substr(text.rfind('\n')), "\nFinal evaluation: 27");
  for (const char* group : {"Material+placement", "Pawns", "Mobility", "King attack", "Pieces", "Threats",
                            "Passed-pawn path"})
    EXPECT_NE(text.find(std::string("\n") + group), std::string::npos) << group;
  // A FEN given as separate words; an invalid one gets one line and exit code 1.
  testsupport::EngineProcess drawn("", {"eval", "8/8/4k3/8/8/3K4/5N2/8", "w", "-", "-", "0", "1"});
  std::string last;
  while (auto line = drawn.readLine(10000)) last = *line;
  EXPECT_EQ(last, "Final evaluation: 0");
  EXPECT_EQ(drawn.waitExit(), 0);
  testsupport::EngineProcess bad("", {"eval", "rnbqkbnr/pppppppp/8/8 w KQkq - 0 1"});
  EXPECT_TRUE(bad.readLine(10000).has_value());
  EXPECT_FALSE(bad.readLine(10000).has_value());
  EXPECT_EQ(bad.waitExit(), 1);
}

}  // namespace

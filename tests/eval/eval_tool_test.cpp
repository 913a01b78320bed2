// The "tesmar eval" tool through the real binary: the breakdown's groups, the last line, exit codes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

TEST(E2EEvalTool, PrintsTheBreakdownAndTheFinalScore) {
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    std::string last;  // for an invalid FEN: one line, whatever it says
  };
  const Case cases[] = {
      {{"eval"}, 0, "Final evaluation: 27"},
      {{"eval", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", "b", "KQkq", "-", "0", "1"}, 0, "Final evaluation: 27"},
      {{"eval", "8/8/4k3/8/8/3K4/5N2/8 w - - 0 1"}, 0, "Final evaluation: 0"},
      {{"eval", "rnbqkbnr/pppppppp/8/8 w KQkq - 0 1"}, 1, ""},
  };
  std::string start;  // the start position's breakdown, a line break before each line
  for (const Case& c : cases) {
    testsupport::EngineProcess engine("", c.args);
    std::vector<std::string> lines;
    while (auto line = engine.readLine(10000)) lines.push_back(*line);
    EXPECT_EQ(engine.waitExit(), c.exitCode);
    ASSERT_FALSE(lines.empty());
    if (c.exitCode != 0) {
      EXPECT_EQ(lines.size(), 1u);
    } else {
      EXPECT_EQ(lines.back(), c.last);
    }
    for (const std::string& line : lines) start += c.args.size() == 1 ? "\n" + line : "";
  }
  for (const char* group : {"Material+placement", "Pawns", "Mobility", "King attack", "Pieces", "Threats",
                            "Passed-pawn path"})
    EXPECT_NE(start.find(std::string("\n") + group), std::string::npos) << group;
}

}  // namespace

// The "tesmar eval" tool through the real binary: the breakdown's groups, the last line, exit codes.
#include <gtest/gtest.h>

#include <string>

#include "support/engine_process.h"

namespace {

TEST(E2EEvalTool, PrintsTheBreakdownAndTheFinalScore) {
  // No FEN: the start position. A FEN may come as separate words.
  testsupport::EngineProcess start("", {"eval"}),
      open("", {"eval", "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R", "w", "KQkq", "-"});
  std::string text;  // a line break before each line
  while (auto line = start.readLine(10000)) text = *line;
  EXPECT_EQ(text, "Final evaluation: 27");
  while (auto line = open.readLine(10000)) text += "\n" + *line;
  EXPECT_EQ(start.waitExit() + open.waitExit(), 0);
  // Each group's row gives both sides' values and their difference.
  for (const char* row : {"Material+placement     14693   16343     14693   16343         0       0",
                          "Mobility                -237    -314      -176    -285       -61     -29",
                          "Pieces                    62      62        42      42        20      20",
                          "Threats                   14      14         0       0        14      14",
                          "Sum                    14605   16033     14632   16028       -27       5", "Final evaluation: 0"})
    EXPECT_NE(text.find(std::string("\n") + row), std::string::npos) << row << text;
  testsupport::EngineProcess bad("", {"eval", "rnbqkbnr/pppppppp/8/8 w KQkq - 0 1"});
  EXPECT_TRUE(bad.readLine(10000).has_value());
  EXPECT_FALSE(bad.readLine(10000).has_value());
  EXPECT_EQ(bad.waitExit(), 1);
}

}  // namespace

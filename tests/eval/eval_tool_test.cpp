// The "tesmar eval" tool through the real binary.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/engine_process.h"

namespace {

std::vector<std::string> runEval(const std::vector<std::string>& args, int& exitCode) {
  std::vector<std::string> words = {"eval"};
  words.insert(words.end(), args.begin(), args.end());
  testsupport::EngineProcess engine("", words);
  std::vector<std::string> lines;
  while (auto line = engine.readLine(10000)) lines.push_back(*line);
  exitCode = engine.waitExit();
  return lines;
}

TEST(E2EEvalTool, PrintsTheBreakdownAndTheFinalScore) {
  struct Case {
    std::vector<std::string> args;
    std::string last;
  };
  const Case cases[] = {
      {{}, "Final evaluation: 27"},
      {{"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", "b", "KQkq", "-", "0", "1"}, "Final evaluation: 27"},
      {{"8/8/4k3/8/8/3K4/5N2/8 w - - 0 1"}, "Final evaluation: 0"},
  };
  for (const Case& c : cases) {
    int exitCode = -1;
    const std::vector<std::string> lines = runEval(c.args, exitCode);
    EXPECT_EQ(exitCode, 0);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), c.last);
  }
  int exitCode = -1;
  const std::vector<std::string> lines = runEval({}, exitCode);
  for (const char* group : {"Material+placement", "Pawns", "Mobility", "King attack", "Pieces", "Threats",
                            "Passed-pawn path"}) {
    bool found = false;
    for (const std::string& line : lines) found |= line.rfind(group, 0) == 0;
    EXPECT_TRUE(found) << group;
  }
}

TEST(E2EEvalTool, RejectsAnInvalidFenWithOneLine) {
  int exitCode = -1;
  const std::vector<std::string> lines = runEval({"rnbqkbnr/pppppppp/8/8 w KQkq - 0 1"}, exitCode);
  EXPECT_EQ(exitCode, 1);
  EXPECT_EQ(lines.size(), 1u);
}

}  // namespace

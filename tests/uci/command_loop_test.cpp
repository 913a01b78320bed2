// The command loop in-process on a given input, and the options.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "uci/command_loop.h"
#include "uci/options.h"

namespace {

const std::vector<std::string> kIdentification = {
    "id name Tesmar 1.2",
    "id author Quorvane",
    "option name Hash type spin default 256 min 1 max 65536",
    "option name Ponder type check default true",
    "option name DrawScore type spin default 0 min -500 max 500",
    "option name OwnBook type check default false",
    "option name BookFile type string default ./book.bin",
    "option name AlwaysBestBookMove type check default true",
    "option name Strength type spin default 100 min 1 max 100",
    "option name Log type check default false",
    "option name Threads type spin default 1 min 1 max 64",
    "option name SyzygyPath type string default ./syzygy",
    "option name SyzygyProbeLimit type spin default 6 min 0 max 6",
    "option name Move Overhead type spin default 50 min 0 max 5000",
    "option name MultiPV type spin default 1 min 1 max 64",
    "option name Clear Hash type button",
    "option name UCI_Chess960 type check default false",
    "option name UCI_ShowWDL type check default false",
    "option name Syzygy50MoveRule type check default true",
    "option name SyzygyProbeDepth type spin default 1 min 1 max 100",
    "option name UCI_AnalyseMode type check default false",
    "option name UCI_LimitStrength type check default false",
    "option name UCI_Elo type spin default 1500 min 1000 max 2150",
    "uciok",
};

// The loop in-process on the given input; returns what it printed.
std::string runLoop(const std::string& input) {
  std::FILE* in = fmemopen(const_cast<char*>(input.data()), input.size(), "r");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(uci::commandLoop(in), 0);
  std::fclose(in);
  return ::testing::internal::GetCapturedStdout();
}

TEST(CommandLoop, AnswersOnlyTheCommandsItKnows) {
  // The identification with the string options' values given.
  const auto identification = [](const std::string& book = "./book.bin", const std::string& syzygy = "./syzygy") {
    std::string text;
    for (const std::string& line : kIdentification) text += line + "\n";
    text.replace(text.find("./book.bin"), 10, book);
    return text.replace(text.find("./syzygy"), 8, syzygy);
  };
  const std::pair<std::string, std::string> cases[] = {  // input, output
      {"uci\n", identification()},
      {"uci\r\n", identification()},
      // Unknown words, leading blanks, "uci" followed by anything but the line end, letter case.
      {"hello\n uci\n isready\nuci extra\nucix\n\n   \nIsready\nsetoption Hash value 3\nstop\nponderhit\n", ""},
      {"isreadyness please\n", "readyok\n"},  // a prefix is enough
      // A line longer than 4,095 characters arrives in pieces, each handled as a line of its own.
      {std::string(4095, 'x') + "isready\n" + std::string(10000, ' ') + "\nisready\n", "readyok\nreadyok\n"},
      // String options show in the next "uci": blanks kept, cut at 255 characters, the word after the
      // name skipped whatever it is.
      {"setoption name BookFile value books/my book.bin\nsetoption name SyzygyPath value /tb/a;/tb/b\nuci\n",
       identification("books/my book.bin", "/tb/a;/tb/b")},
      {"setoption name BookFile to b.bin\nsetoption name SyzygyPath value " + std::string(400, 'p') + "\nuci\n",
       identification("b.bin", std::string(255, 'p'))},
      {"setoption name SyzygyPath value\nuci\n", identification("./book.bin", "")},
      // "quit", with text behind it too, ends the loop; so does the end of the input, whose last
      // line is handled once.
      {"quit\nisready\n", ""},
      {"quitting time\nisready\n", ""},
      {"isready\nisready", "readyok\nreadyok\n"},
  };
  for (const auto& [input, output] : cases) EXPECT_EQ(runLoop(input), output) << input.substr(0, 80);
}

struct OptionCase {
  const char* line;
  int32_t uci::EngineSettings::*field;
  int32_t expected;
};

TEST(Options, SetOptionTable) {
  const OptionCase cases[] = {
      {"setoption name Hash value 100\n", &uci::EngineSettings::hashMb, 100},
      {"setoption name Hash\n", &uci::EngineSettings::hashMb, 1},
      {"setoption name DrawScore value -25\n", &uci::EngineSettings::drawScore, -100},
      {"setoption name DrawScore value  +7x\n", &uci::EngineSettings::drawScore, 28},
      {"setoption name OwnBook value true\n", &uci::EngineSettings::ownBook, 1},
      {"setoption name OwnBook value True\n", &uci::EngineSettings::ownBook, 0},
      {"setoption name OwnBook value true \n", &uci::EngineSettings::ownBook, 0},
      {"setoption name AlwaysBestBookMove value false\n", &uci::EngineSettings::alwaysBestBookMove, 0},
      {"setoption name Log value true\r\n", &uci::EngineSettings::logEnabled, 1},
      {"setoption name Threads value 0\n", &uci::EngineSettings::threads, 1},
      {"setoption name Move Overhead value 30\n", &uci::EngineSettings::moveOverheadMs, 30},
      {"setoption name Move Overhead value 9000\n", &uci::EngineSettings::moveOverheadMs, 5000},
      {"setoption name Move value 30\n", &uci::EngineSettings::moveOverheadMs, 50},
      {"setoption name MultiPV value 500\n", &uci::EngineSettings::multiPv, 64},
      {"setoption name UCI_ShowWDL value true\n", &uci::EngineSettings::showWdl, 1},
      {"setoption name Syzygy50MoveRule value false\n", &uci::EngineSettings::syzygy50MoveRule, 0},
      {"setoption name SyzygyProbeDepth value 0\n", &uci::EngineSettings::syzygyProbeDepth, 1},
      {"setoption name SyzygyProbeDepth value 101\n", &uci::EngineSettings::syzygyProbeDepth, 100},
      {"setoption name UCI_AnalyseMode value true\n", &uci::EngineSettings::analyseMode, 1},
      {"setoption name UCI_LimitStrength value true\n", &uci::EngineSettings::limitStrength, 1},
      {"setoption name UCI_Elo value 1234\n", &uci::EngineSettings::uciElo, 1234},
      {"setoption name UCI_Elo value -7\n", &uci::EngineSettings::uciElo, 1000},
      {"setoption name UCI_Elo value 3000\n", &uci::EngineSettings::uciElo, 2150},
      // Ponder and unknown names change nothing; letter case of names counts.
      {"setoption name Ponder value false\n", &uci::EngineSettings::hashMb, 256},
      {"setoption name hash value 4\n", &uci::EngineSettings::hashMb, 256},
  };
  for (const auto& c : cases) {
    uci::EngineSettings settings;
    EXPECT_FALSE(uci::setOption(settings, c.line));
    EXPECT_EQ(settings.*c.field, c.expected) << c.line;
  }
  // The button is the one name of two words; it stores nothing.
  for (const auto& [line, pressed] : {std::pair{"setoption name Clear Hash\n", true},
                                      {"setoption name Clear\n", false},
                                      {"setoption name Clear Hashes\n", false},
                                      {"setoption name clear hash\n", false}}) {
    uci::EngineSettings settings;
    EXPECT_EQ(uci::setOption(settings, line), pressed) << line;
  }
}

}  // namespace

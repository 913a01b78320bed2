// The command loop and the options, in-process and through the engine's real pipes.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/engine_process.h"
#include "uci/options.h"

namespace {

using testsupport::EngineProcess;

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
    "uciok",
};

std::vector<std::string> readUntil(EngineProcess& engine, const std::string& last) {
  std::vector<std::string> lines;
  engine.waitFor(last, 5000, &lines);
  return lines;
}

TEST(E2ECommandLoop, UciPrintsExactlyTheIdentification) {
  EngineProcess engine;
  engine.send("uci");
  EXPECT_EQ(readUntil(engine, "uciok"), kIdentification);
  EXPECT_TRUE(engine.drain(300).empty());
  engine.send("quit");
  EXPECT_EQ(engine.waitExit(), 0);
}

TEST(E2ECommandLoop, UnmatchedLinesPrintNothing) {
  EngineProcess engine;
  // Unknown words, leading blanks, "uci" followed by anything but the newline: none of these prints.
  for (const char* line : {"hello", " uci", " isready", "uci extra", "ucix", "", "   ", "Isready",
                           "setoption Hash value 3", "stop", "ponderhit"})
    engine.send(line);
  engine.send("isready");
  EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "readyok");
  // Prefix matching: anything after "isready" still answers.
  engine.send("isreadyness please");
  EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "readyok");
  EXPECT_TRUE(engine.drain(200).empty());
}

TEST(E2ECommandLoop, QuitAndEndOfInputExitCleanlyAndSilently) {
  {
    EngineProcess engine;
    engine.send("quit");
    EXPECT_EQ(engine.waitExit(), 0);
    EXPECT_TRUE(engine.drain(100).empty());
  }
  {
    EngineProcess engine;
    engine.send("isready");
    EXPECT_EQ(engine.readLine().value_or("<none>"), "readyok");
    engine.closeInput();  // the last line is never handled again
    EXPECT_TRUE(engine.drain(300).empty());
    EXPECT_EQ(engine.waitExit(), 0);
  }
  {
    // Four characters are compared, so "quit" with text behind it quits too.
    EngineProcess engine;
    engine.send("quitting time");
    EXPECT_EQ(engine.waitExit(), 0);
  }
}

TEST(E2ECommandLoop, LongLinesArriveInPieces) {
  EngineProcess engine;
  // 4,095 characters fill one read; the rest of the line is handled as a line of its own.
  engine.send(std::string(4095, 'x') + "isready");
  EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "readyok");
  engine.send(std::string(10000, ' '));
  engine.send("isready");
  EXPECT_EQ(engine.readLine(5000).value_or("<none>"), "readyok");
  EXPECT_TRUE(engine.drain(200).empty());
}

TEST(E2ECommandLoop, StringOptionsShowInTheNextUci) {
  EngineProcess engine;
  engine.send("setoption name BookFile value books/my book.bin");
  engine.send("setoption name SyzygyPath value /tb/a;/tb/b");
  engine.send("uci");
  auto lines = readUntil(engine, "uciok");
  ASSERT_EQ(lines.size(), kIdentification.size());
  EXPECT_EQ(lines[6], "option name BookFile type string default books/my book.bin");
  EXPECT_EQ(lines[11], "option name SyzygyPath type string default /tb/a;/tb/b");
}

struct OptionCase {
  const char* line;
  int32_t uci::EngineSettings::*field;
  int32_t expected;
};

TEST(Options, SetOptionTable) {
  const OptionCase cases[] = {
      {"setoption name Hash value 100\n", &uci::EngineSettings::hashMb, 100},
      {"setoption name Hash value 0\n", &uci::EngineSettings::hashMb, 1},
      {"setoption name Hash value 100000\n", &uci::EngineSettings::hashMb, 65536},
      {"setoption name Hash value 99999999999999999999999\n", &uci::EngineSettings::hashMb, 65536},
      {"setoption name Hash value\n", &uci::EngineSettings::hashMb, 1},
      {"setoption name Hash\n", &uci::EngineSettings::hashMb, 1},
      {"setoption name DrawScore value -25\n", &uci::EngineSettings::drawScore, -100},
      {"setoption name DrawScore value 9999\n", &uci::EngineSettings::drawScore, 2000},
      {"setoption name DrawScore value  +7x\n", &uci::EngineSettings::drawScore, 28},
      {"setoption name OwnBook value true\n", &uci::EngineSettings::ownBook, 1},
      {"setoption name OwnBook value True\n", &uci::EngineSettings::ownBook, 0},
      {"setoption name OwnBook value true \n", &uci::EngineSettings::ownBook, 0},
      {"setoption name AlwaysBestBookMove value false\n", &uci::EngineSettings::alwaysBestBookMove, 0},
      {"setoption name Strength value 0\n", &uci::EngineSettings::strength, 1},
      {"setoption name Strength value 150\n", &uci::EngineSettings::strength, 100},
      {"setoption name Strength value 42\n", &uci::EngineSettings::strength, 42},
      {"setoption name Log value true\r\n", &uci::EngineSettings::logEnabled, 1},
      {"setoption name Threads value 0\n", &uci::EngineSettings::threads, 1},
      {"setoption name Threads value 65\n", &uci::EngineSettings::threads, 64},
      {"setoption name SyzygyProbeLimit value 9\n", &uci::EngineSettings::syzygyProbeLimit, 6},
      {"setoption name SyzygyProbeLimit value -1\n", &uci::EngineSettings::syzygyProbeLimit, 0},
      {"setoption name Move Overhead value 30\n", &uci::EngineSettings::moveOverheadMs, 30},
      {"setoption name Move Overhead value 9000\n", &uci::EngineSettings::moveOverheadMs, 5000},
      {"setoption name Move Overhead value -4\n", &uci::EngineSettings::moveOverheadMs, 0},
      {"setoption name Move value 30\n", &uci::EngineSettings::moveOverheadMs, 50},
      {"setoption name Move OverheadX value 30\n", &uci::EngineSettings::moveOverheadMs, 50},
      // Ponder and unknown names change nothing; letter case of names counts.
      {"setoption name Ponder value false\n", &uci::EngineSettings::hashMb, 256},
      {"setoption name hash value 4\n", &uci::EngineSettings::hashMb, 256},
      {"setoption name Hashes value 4\n", &uci::EngineSettings::hashMb, 256},
  };
  for (const auto& c : cases) {
    uci::EngineSettings settings;
    uci::setOption(settings, c.line);
    EXPECT_EQ(settings.*c.field, c.expected) << c.line;
  }
}

TEST(Options, StringValuesKeepBlanksAndAreCut) {
  uci::EngineSettings settings;
  uci::setOption(settings, "setoption name BookFile value books/my book.bin\n");
  EXPECT_STREQ(settings.bookFile.data(), "books/my book.bin");
  uci::setOption(settings, "setoption name SyzygyPath value\n");
  EXPECT_STREQ(settings.syzygyPath.data(), "");
  const std::string longPath(400, 'p');
  uci::setOption(settings, ("setoption name SyzygyPath value " + longPath + "\n").c_str());
  EXPECT_EQ(std::string(settings.syzygyPath.data()), std::string(255, 'p'));
  // The word after the name is skipped whatever it is.
  uci::setOption(settings, "setoption name BookFile to other.bin\n");
  EXPECT_STREQ(settings.bookFile.data(), "other.bin");
}

TEST(Options, MinSplitDepthFollowsThreads) {
  const std::pair<const char*, int> cases[] = {{"1", 3}, {"2", 4}, {"3", 4}, {"4", 5},
                                               {"8", 6}, {"15", 6}, {"64", 9}};
  for (const auto& [threads, depth] : cases) {
    uci::EngineSettings settings;
    uci::setOption(settings, (std::string("setoption name Threads value ") + threads + "\n").c_str());
    EXPECT_EQ(uci::minSplitDepth, depth) << threads;
  }
  uci::resetSettings(uci::engineSettings);
}

}  // namespace

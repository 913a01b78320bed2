#include "uci/command_loop.h"

#include <cstring>

#include "board/attacks.h"
#include "board/make_move.h"
#include "eval/eval.h"
#include "platform/output.h"
#include "search/driver.h"
#include "uci/commands.h"
#include "uci/options.h"

namespace uci {

namespace {

char lineBuffer[LINE_BUFFER_SIZE];

bool startsWith(const char* line, const char* keyword, size_t count) {
  return std::strncmp(line, keyword, count) == 0;
}

void identify() {
  platform::printLine("id name Tesmar 1.2\n");
  platform::printLine("id author Quorvane\n");
  printOptionLines(engineSettings);
  platform::printLine("uciok\n");
  platform::flushOut();
}

void shutdown() {
  search::stopSearch();
  releaseResources();
  platform::flushOut();
}

}  // namespace

void initEngine() {
  board::initKeyTable();
  eval::initEvalTables();
  board::initAttackTables();
}

bool handleLine(const char* line) {
  if (startsWith(line, "quit", 4)) return false;
  // "uci" only with the newline right behind it ("uci\r\n" from Windows-style senders too).
  if (startsWith(line, "uci\n", 4) || startsWith(line, "uci\r", 4)) {
    identify();
  } else if (startsWith(line, "setoption name ", 15)) {
    if (setOption(engineSettings, line)) clearHash();
  } else if (startsWith(line, "ucinewgame", 10)) {
    search::stopSearch();
    newGame();
  } else if (startsWith(line, "isready", 7)) {
    platform::printLine("readyok\n");
    platform::flushOut();
  } else if (startsWith(line, "position", 8)) {
    handlePosition(line);
  } else if (startsWith(line, "go", 2)) {
    handleGo(line);
  } else if (startsWith(line, "ponderhit", 9)) {
    search::ponderHit();
  } else if (startsWith(line, "stop", 4)) {
    search::stopSearch();
  }
  return true;
}

int commandLoop(std::FILE* input) {
  resetSettings(engineSettings);
  lineBuffer[0] = '\0';
  for (;;) {
    if (startsWith(lineBuffer, "quit", 4)) break;
    // At most 4,095 characters including the newline; a longer line arrives in pieces. The end of
    // the input acts as "quit".
    if (!std::fgets(lineBuffer, LINE_BUFFER_SIZE, input)) break;
    handleLine(lineBuffer);
  }
  shutdown();
  return 0;
}

}  // namespace uci

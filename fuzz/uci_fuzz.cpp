// Fuzz target: a sequence of UCI lines fed to the command handlers in-process. Options that would
// reach outside the process's sandbox are pinned: Hash at most 16 MiB, Threads at most 2, no log
// file, the book and tablebase paths fixed to the test data. Every search is stopped at the end.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "search/driver.h"
#include "uci/command_loop.h"
#include "uci/options.h"

namespace {

bool startsWith(const std::string& line, const char* prefix) {
  return line.compare(0, std::strlen(prefix), prefix) == 0;
}

// Drops the lines that would leave the sandbox (log file, other book or tablebase paths).
bool tame(const std::string& line) {
  if (!startsWith(line, "setoption name ")) return true;
  const std::string rest = line.substr(15);
  return !(startsWith(rest, "Log") || startsWith(rest, "BookFile") || startsWith(rest, "SyzygyPath"));
}

// Hash and Threads are clamped after the engine's own parser has read them: the value is whatever
// follows the word after the name ("value 2500 x" means 2,500 MiB), which no rewrite of the line
// can second-guess reliably. Nothing is allocated before "ucinewgame" or "go" reads the settings.
void clampResources() {
  uci::engineSettings.hashMb = std::min(uci::engineSettings.hashMb, 16);
  uci::engineSettings.threads = std::min(uci::engineSettings.threads, 2);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  uci::initEngine();
  uci::resetSettings(uci::engineSettings);
  uci::engineSettings.hashMb = 1;
  const std::string data = TESMAR_DATA_DIR;
  std::snprintf(uci::engineSettings.bookFile.data(), uci::engineSettings.bookFile.size(), "%s",
                (data + "/books/lines.bin").c_str());
  std::snprintf(uci::engineSettings.syzygyPath.data(), uci::engineSettings.syzygyPath.size(), "%s",
                (data + "/syzygy").c_str());
  uci::engineSettings.ownBook = 1;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  size_t begin = 0;
  int lines = 0;
  while (begin < size && lines < 64) {
    size_t end = begin;
    while (end < size && text[end] != '\n') ++end;
    std::string line(text + begin, end - begin);
    line.erase(std::find(line.begin(), line.end(), '\0'), line.end());
    if (line.size() > 4095) line.resize(4095);
    line += '\n';
    begin = end + 1;
    ++lines;
    if (!tame(line)) continue;
    if (!uci::handleLine(line.c_str())) break;
    clampResources();
  }
  search::stopSearch();
  return 0;
}

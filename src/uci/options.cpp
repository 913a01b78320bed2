#include "uci/options.h"

#include <algorithm>
#include <cstring>

#include "platform/bits.h"
#include "platform/output.h"
#include "search/limits.h"

namespace uci {

EngineSettings engineSettings;
int32_t minSplitDepth = 3;

namespace {

void copyText(std::array<char, OPTION_TEXT_SIZE>& field, const char* begin, const char* end) {
  const size_t length = std::min<size_t>(size_t(end - begin), OPTION_TEXT_SIZE - 1);
  std::memcpy(field.data(), begin, length);
  field[length] = '\0';
}

int32_t clampSpin(const char* value, int32_t lo, int32_t hi) {
  return int32_t(std::clamp<int64_t>(parseInteger(value), lo, hi));
}

}  // namespace

int64_t parseInteger(const char* text) {
  const char* p = text;
  while (*p == ' ' || *p == '\t') ++p;
  bool negative = false;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  int64_t value = 0;
  while (*p >= '0' && *p <= '9') {
    if (value < (int64_t(1) << 40)) value = value * 10 + (*p - '0');
    ++p;
  }
  return negative ? -value : value;
}

void resetSettings(EngineSettings& settings) {
  settings = EngineSettings{};
  minSplitDepth = 3;
}

void printOptionLines(const EngineSettings& s) {
  platform::printLine("option name Hash type spin default 256 min 1 max %d\n", MAX_HASH_MB);
  platform::printLine("option name Ponder type check default true\n");
  platform::printLine("option name DrawScore type spin default 0 min -500 max 500\n");
  platform::printLine("option name OwnBook type check default false\n");
  platform::printLine("option name BookFile type string default %s\n", s.bookFile.data());
  platform::printLine("option name AlwaysBestBookMove type check default true\n");
  platform::printLine("option name Strength type spin default %d min 1 max %d\n", 100, 100);
  platform::printLine("option name Log type check default false\n");
  platform::printLine("option name Threads type spin default 1 min 1 max %d\n", MAX_THREADS_OPTION);
  platform::printLine("option name SyzygyPath type string default %s\n", s.syzygyPath.data());
  platform::printLine("option name SyzygyProbeLimit type spin default 6 min 0 max 6\n");
  platform::printLine("option name Move Overhead type spin default %d min 0 max %d\n", DEFAULT_MOVE_OVERHEAD_MS,
                      MAX_MOVE_OVERHEAD_MS);
  platform::printLine("option name MultiPV type spin default 1 min 1 max %d\n", search::MAX_MULTI_PV);
  platform::printLine("option name Clear Hash type button\n");
  platform::printLine("option name UCI_Chess960 type check default false\n");
  platform::printLine("option name UCI_ShowWDL type check default false\n");
  platform::printLine("option name Syzygy50MoveRule type check default true\n");
  platform::printLine("option name SyzygyProbeDepth type spin default 1 min 1 max %d\n", MAX_SYZYGY_PROBE_DEPTH);
  platform::printLine("option name UCI_AnalyseMode type check default false\n");
  platform::printLine("option name UCI_LimitStrength type check default false\n");
  platform::printLine("option name UCI_Elo type spin default %d min %d max %d\n", search::UCI_ELO_DEFAULT,
                      search::UCI_ELO_MIN, search::UCI_ELO_MAX);
}

bool setOption(EngineSettings& s, const char* line) {
  const char* p = line + std::strlen("setoption name ");
  // The name: the first blank-delimited word, or the one name of two words.
  const char* nameBegin = p;
  constexpr const char* MOVE_OVERHEAD = "Move Overhead";
  const size_t twoWords = std::strlen(MOVE_OVERHEAD);
  if (std::strncmp(p, MOVE_OVERHEAD, twoWords) == 0) p += twoWords;
  while (*p && *p != ' ' && *p != '\n' && *p != '\r') ++p;
  const size_t nameLength = size_t(p - nameBegin);
  // Skip the blank, then the next word (normally "value") without comparing it, then its blank.
  const char* valueBegin = "";
  const char* valueEnd = valueBegin;
  const char* skippedBegin = p;
  if (*p == ' ') {
    skippedBegin = ++p;
    while (*p && *p != ' ' && *p != '\n' && *p != '\r') ++p;
    if (*p == ' ') {
      valueBegin = p + 1;
      valueEnd = valueBegin;
      while (*valueEnd && *valueEnd != '\n') ++valueEnd;
      if (valueEnd > valueBegin && valueEnd[-1] == '\r') --valueEnd;
    }
  }
  // A NUL-terminated copy of the value for the numeric and check conversions.
  char value[OPTION_TEXT_SIZE];
  {
    const size_t length = std::min<size_t>(size_t(valueEnd - valueBegin), sizeof value - 1);
    std::memcpy(value, valueBegin, length);
    value[length] = '\0';
  }
  auto is = [&](const char* name) {
    return nameLength == std::strlen(name) && std::strncmp(nameBegin, name, nameLength) == 0;
  };
  const bool checked = std::strcmp(value, "true") == 0;

  if (is("Clear")) return p - skippedBegin == 4 && std::strncmp(skippedBegin, "Hash", 4) == 0;
  if (is("Hash")) {
    s.hashMb = clampSpin(value, 1, MAX_HASH_MB);
  } else if (is("OwnBook")) {
    s.ownBook = checked;
  } else if (is("BookFile")) {
    copyText(s.bookFile, valueBegin, valueEnd);
  } else if (is("DrawScore")) {
    s.drawScore = clampSpin(value, -500, 500) * 4;
  } else if (is("AlwaysBestBookMove")) {
    s.alwaysBestBookMove = checked;
  } else if (is("Threads")) {
    s.threads = clampSpin(value, 1, MAX_THREADS_OPTION);
    minSplitDepth = 3 + platform::floorLog2(uint64_t(s.threads));
  } else if (is("Strength")) {
    s.strength = clampSpin(value, 1, 100);
  } else if (is("Log")) {
    s.logEnabled = checked;
  } else if (is("SyzygyPath")) {
    copyText(s.syzygyPath, valueBegin, valueEnd);
  } else if (is("SyzygyProbeLimit")) {
    s.syzygyProbeLimit = clampSpin(value, 0, 6);
  } else if (is(MOVE_OVERHEAD)) {
    s.moveOverheadMs = clampSpin(value, 0, MAX_MOVE_OVERHEAD_MS);
  } else if (is("MultiPV")) {
    s.multiPv = clampSpin(value, 1, search::MAX_MULTI_PV);
  } else if (is("UCI_Chess960")) {
    s.chess960 = checked;
  } else if (is("UCI_ShowWDL")) {
    s.showWdl = checked;
  } else if (is("Syzygy50MoveRule")) {
    s.syzygy50MoveRule = checked;
  } else if (is("SyzygyProbeDepth")) {
    s.syzygyProbeDepth = clampSpin(value, 1, MAX_SYZYGY_PROBE_DEPTH);
  } else if (is("UCI_AnalyseMode")) {
    s.analyseMode = checked;
  } else if (is("UCI_LimitStrength")) {
    s.limitStrength = checked;
  } else if (is("UCI_Elo")) {
    s.uciElo = clampSpin(value, search::UCI_ELO_MIN, search::UCI_ELO_MAX);
  }
  return false;
}

}  // namespace uci

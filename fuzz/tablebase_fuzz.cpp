// Fuzz target: Syzygy table set-up and probing on arbitrary file bytes. The first input byte chooses
// the table name when no 3-4 piece table accepts the rest as its file; the rest is written as that
// table's ".rtbw" and ".rtbz" file, registered through the ordinary path and probed from positions
// of its material (WDL, DTZ and the root filter).
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/position.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_internal.h"
#include "uci/command_loop.h"

namespace {

board::Position* position = nullptr;
std::string directory;
std::vector<std::string> names;  // every 3- and 4-piece table

void addNames() {
  const char* letters = "QRBNP";
  for (int a = 0; a < 5; ++a) names.push_back(std::string("K") + letters[a] + "vK");
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b) {
      names.push_back(std::string("K") + letters[a] + "vK" + letters[b]);
      names.push_back(std::string("K") + letters[a] + letters[b] + "vK");
    }
}

// The name of a table whose set-up accepts the bytes, or "" when none does.
std::string acceptingName(const uint8_t* data, size_t size) {
  std::vector<uint8_t> copy(data, data + size);
  for (const std::string& name : names)
    for (const bool wdl : {true, false}) {
      tb::TableEntry e;
      if (!tb::describeName(e, name.c_str())) continue;
      e.mapping.data = copy.empty() ? nullptr : copy.data();
      e.mapping.size = copy.size();
      const bool ok = tb::setupTable(e, wdl);
      e.mapping = platform::MappedFile{};
      if (ok) return name;
    }
  return "";
}

void writeFile(const std::string& path, const uint8_t* data, size_t size) {
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
}

// A FEN with the table's pieces on squares drawn from seed (may be illegal; the reader refuses it).
std::string randomFen(const std::string& name, uint64_t& seed) {
  char board[64];
  for (char& c : board) c = '.';
  bool black = false;
  for (const char letter : name) {
    if (letter == 'v') {
      black = true;
      continue;
    }
    for (int tries = 0; tries < 64; ++tries) {
      seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
      const int s = int(seed >> 58);
      if (board[s] != '.' || (letter == 'P' && (s < 8 || s >= 56))) continue;
      board[s] = black ? char(letter - 'A' + 'a') : letter;
      break;
    }
  }
  std::string fen;
  for (int rank = 7; rank >= 0; --rank) {
    int empty = 0;
    for (int file = 0; file < 8; ++file) {
      const char c = board[rank * 8 + file];
      if (c == '.') {
        ++empty;
        continue;
      }
      if (empty) fen += char('0' + empty);
      empty = 0;
      fen += c;
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  return fen + ((seed >> 20) & 1 ? " b" : " w") + " - - " + std::to_string((seed >> 24) % 100) + " 1";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  uci::initEngine();
  position = new board::Position;
  addNames();
  directory = "/tmp/tesmar-tb-fuzz-" + std::to_string(getpid());
  ::mkdir(directory.c_str(), 0700);
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  });
  if (!std::freopen("/dev/null", "w", stdout)) return 0;  // the reader's "info string" lines
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::string name = acceptingName(data + 1, size - 1);
  if (name.empty()) name = names[data[0] % names.size()];
  for (const char* suffix : {".rtbw", ".rtbz"}) writeFile(directory + "/" + name + suffix, data + 1, size - 1);
  tb::initTablebases(directory.c_str(), false);

  uint64_t seed = data[0] ^ (uint64_t(size) << 8);
  for (int i = 0; i < 8; ++i) {
    if (!board::setupFromFen(*position, randomFen(name, seed))) continue;
    int success = 0;
    const int wdl = tb::probeWdl(*position, success);
    if (success && (wdl < -2 || wdl > 2)) std::abort();
    (void)tb::probeDtz(*position, success);
    board::Move moves[board::MAX_MOVES];
    int count = int(board::generateLegalMoves(*position, moves) - moves);
    const int before = count;
    int score = 0;
    if (tb::rootProbe(*position, moves, count, score) && (count < 0 || count > before)) std::abort();
    if (board::stackIndex(*position) != 0) std::abort();  // probes leave the position as found
  }
  for (const char* suffix : {".rtbw", ".rtbz"}) ::unlink((directory + "/" + name + suffix).c_str());
  tb::initTablebases("", false);
  return 0;
}

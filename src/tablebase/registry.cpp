// The tablebase registry: table names found in the SyzygyPath directories, their material keys,
// the hash of keys to tables, first-use mapping of WDL files and the cache of DTZ tables.
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "board/make_move.h"
#include "platform/output.h"
#include "tablebase/tablebase.h"
#include "tablebase/tb_internal.h"

namespace tb {

std::array<HashSlot, (1 << TB_HASH_BITS) * HSHMAX> tbHash;
std::array<DtzSlot, DTZ_ENTRIES> dtzCache;

namespace {

constexpr char PIECE_LETTERS[] = "KQRBNP";  // file codes 6, 5, 4, 3, 2, 1
constexpr int LETTER_TYPE[6] = {board::KING, board::QUEEN, board::ROOK, board::BISHOP, board::KNIGHT,
                                board::PAWN};

// The registry: tables without pawns and with pawns, the directories and the largest table.
struct Registry {
  bool tablesComputed = false;
  std::vector<std::string> directories;
  std::vector<std::unique_ptr<TableEntry>> pieceEntries;
  std::vector<std::unique_ptr<TableEntry>> pawnEntries;
  int largest = 0;
  bool full = false;  // a capacity limit was reached: nothing more is registered
};

Registry registry;
std::mutex tbMutex;  // serialises the first use of WDL tables

void releaseAll() {
  for (HashSlot& slot : tbHash) {
    slot.key.store(0, std::memory_order_relaxed);
    slot.entry = nullptr;
  }
  for (DtzSlot& slot : dtzCache) slot = DtzSlot{};
  registry.pieceEntries.clear();
  registry.pawnEntries.clear();
  registry.directories.clear();
  registry.largest = 0;
  registry.full = false;
}

void splitDirectories(const char* path) {
  std::string current;
  for (const char* c = path;; ++c) {
    if (*c == '\0' || platform::isPathListSeparator(*c)) {
      if (!current.empty()) registry.directories.push_back(current);
      current.clear();
      if (*c == '\0') break;
    } else {
      current.push_back(*c);
    }
  }
}

// Maps name + suffix from the first directory that holds it.
platform::MapResult mapTableFile(const char* name, const char* suffix, platform::MappedFile& out,
                                 int& error) {
  error = 0;
  for (const std::string& dir : registry.directories) {
    char path[4096];
    const int n = std::snprintf(path, sizeof path, "%s/%s%s", dir.c_str(), name, suffix);
    if (n <= 0 || n >= int(sizeof path)) continue;
    const platform::MapResult r = platform::mapFile(path, out, error);
    if (r != platform::MapResult::NOT_FOUND) return r;
  }
  return platform::MapResult::NOT_FOUND;
}

bool tableFileExists(const char* name, const char* suffix) {
  for (const std::string& dir : registry.directories) {
    char path[4096];
    const int n = std::snprintf(path, sizeof path, "%s/%s%s", dir.c_str(), name, suffix);
    if (n > 0 && n < int(sizeof path) && platform::fileReadable(path)) return true;
  }
  return false;
}

void printMessage(const char* text) {
  platform::printLine("%s\n", text);
  platform::flushOut();
}

HashSlot* freeSlot(uint64_t key) {
  HashSlot* bucket = &tbHash[size_t(key >> (64 - TB_HASH_BITS)) * HSHMAX];
  for (int i = 0; i < HSHMAX; ++i)
    if (!bucket[i].entry) return &bucket[i];
  return nullptr;
}

// Clears the hash slots through which a table is found.
void clearSlots(TableEntry& e) {
  for (const uint64_t key : {e.key, e.key2}) {
    HashSlot* bucket = &tbHash[size_t(key >> (64 - TB_HASH_BITS)) * HSHMAX];
    for (int i = 0; i < HSHMAX; ++i)
      if (bucket[i].entry == &e) bucket[i].key.store(0, std::memory_order_relaxed);
  }
}

// Fills the descriptive fields of an entry from counts indexed by file code.
void describe(TableEntry& e, const uint8_t* counts, const char* name) {
  std::memcpy(e.counts, counts, sizeof e.counts);
  std::snprintf(e.name, sizeof e.name, "%s", name);
  e.key = materialKeyOfCounts(counts, false);
  e.key2 = materialKeyOfCounts(counts, true);
  e.symmetric = e.key == e.key2;
  e.num = 0;
  int unique = 0;
  for (int c = 0; c < 16; ++c) {
    e.num += counts[c];
    unique += counts[c] == 1;
  }
  const int white = counts[board::PAWN], black = counts[board::PAWN + 8];
  e.hasPawns = white + black > 0;
  e.encType = unique >= 3 ? 0 : 2;
  if (black > 0 && (white == 0 || white > black)) {
    e.pawns[0] = black;
    e.pawns[1] = white;
  } else {
    e.pawns[0] = white;
    e.pawns[1] = black;
  }
}

void registerName(const char* name) {
  if (registry.full || !tableFileExists(name, ".rtbw")) return;
  auto entry = std::make_unique<TableEntry>();
  if (!describeName(*entry, name)) return;
  auto& list = entry->hasPawns ? registry.pawnEntries : registry.pieceEntries;
  if (int(list.size()) >= (entry->hasPawns ? TBMAX_PAWN : TBMAX_PIECE)) {
    printMessage(entry->hasPawns ? "info string TBMAX_PAWN limit too low!"
                                 : "info string TBMAX_PIECE limit too low!");
    registry.full = true;
    return;
  }
  HashSlot* first = freeSlot(entry->key);
  if (first) first->entry = entry.get();  // reserve while looking for the second slot
  HashSlot* second = entry->symmetric ? nullptr : freeSlot(entry->key2);
  if (!first || (!entry->symmetric && !second)) {
    if (first) first->entry = nullptr;
    printMessage("info string HSHMAX too low!");
    registry.full = true;
    return;
  }
  first->key.store(entry->key, std::memory_order_relaxed);
  if (second) {
    second->entry = entry.get();
    second->key.store(entry->key2, std::memory_order_relaxed);
  }
  if (entry->num > registry.largest) registry.largest = entry->num;
  list.push_back(std::move(entry));
}

void registerAll() {
  constexpr const char* L = "QRBNP";
  char name[16];
  for (int a = 0; a < 5; ++a) {
    std::snprintf(name, sizeof name, "K%cvK", L[a]);
    registerName(name);
  }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b) {
      std::snprintf(name, sizeof name, "K%cvK%c", L[a], L[b]);
      registerName(name);
    }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b) {
      std::snprintf(name, sizeof name, "K%c%cvK", L[a], L[b]);
      registerName(name);
    }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b)
      for (int c = 0; c < 5; ++c) {
        std::snprintf(name, sizeof name, "K%c%cvK%c", L[a], L[b], L[c]);
        registerName(name);
      }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b)
      for (int c = b; c < 5; ++c) {
        std::snprintf(name, sizeof name, "K%c%c%cvK", L[a], L[b], L[c]);
        registerName(name);
      }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b)
      for (int c = a; c < 5; ++c)
        for (int d = (a == c) ? b : c; d < 5; ++d) {
          std::snprintf(name, sizeof name, "K%c%cvK%c%c", L[a], L[b], L[c], L[d]);
          registerName(name);
        }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b)
      for (int c = b; c < 5; ++c)
        for (int d = 0; d < 5; ++d) {
          std::snprintf(name, sizeof name, "K%c%c%cvK%c", L[a], L[b], L[c], L[d]);
          registerName(name);
        }
  for (int a = 0; a < 5; ++a)
    for (int b = a; b < 5; ++b)
      for (int c = b; c < 5; ++c)
        for (int d = c; d < 5; ++d) {
          std::snprintf(name, sizeof name, "K%c%c%c%cvK", L[a], L[b], L[c], L[d]);
          registerName(name);
        }
}

}  // namespace

bool describeName(TableEntry& e, const char* name) {
  uint8_t counts[16] = {};
  int colour = 0;
  if (std::strlen(name) >= sizeof e.name) return false;
  for (const char* c = name; *c; ++c) {
    if (*c == 'v' && colour == 0) {
      colour = 8;
      continue;
    }
    const char* at = std::strchr(PIECE_LETTERS, *c);
    if (!at || !*at) return false;
    ++counts[LETTER_TYPE[at - PIECE_LETTERS] + colour];
  }
  if (counts[board::KING] != 1 || counts[board::KING + 8] != 1) return false;
  describe(e, counts, name);
  return e.num <= TB_PIECES;
}

uint64_t materialKeyOfCounts(const uint8_t* counts, bool mirror) {
  uint64_t key = 0;
  for (int code = 1; code < 15; ++code) {
    const int keyCode = mirror ? code : code ^ 8;  // the key table uses +8 for White
    for (int i = 0; i < counts[code]; ++i) key ^= board::keyTable[size_t(keyCode * 64 + i)].zobrist;
  }
  return key;
}

board::Bitboard piecesOf(const board::BoardState& s, bool black, int type) {
  board::Bitboard set = 0;
  switch (type) {
    case board::PAWN: set = board::pawns(s); break;
    case board::KNIGHT: set = board::knights(s); break;
    case board::BISHOP: set = board::bishops(s); break;
    case board::ROOK: set = board::rooks(s); break;
    case board::QUEEN: set = board::queens(s); break;
    case board::KING: set = board::kings(s); break;
    default: return 0;
  }
  set &= black == board::blackToMove(s) ? board::ownPieces(s) : board::opponentPieces(s);
  return board::blackToMove(s) ? platform::byteSwap(set) : set;
}

uint64_t materialKey(const board::BoardState& s, bool mirror) {
  uint8_t counts[16] = {};
  for (int black = 0; black < 2; ++black)
    for (int type = board::PAWN; type <= board::KING; ++type)
      counts[type + 8 * black] = uint8_t(platform::popcount(piecesOf(s, black, type)));
  return materialKeyOfCounts(counts, mirror);
}

HashSlot* findSlot(uint64_t key) {
  HashSlot* bucket = &tbHash[size_t(key >> (64 - TB_HASH_BITS)) * HSHMAX];
  for (int i = 0; i < HSHMAX; ++i)
    if (bucket[i].key.load(std::memory_order_relaxed) == key && bucket[i].entry) return &bucket[i];
  return nullptr;
}

bool loadWdlTable(HashSlot& slot) {
  TableEntry& e = *slot.entry;
  std::lock_guard<std::mutex> lock(tbMutex);
  if (e.ready.load(std::memory_order_acquire)) return true;
  if (e.disabled.load(std::memory_order_relaxed)) return false;
  int error = 0;
  const platform::MapResult r = mapTableFile(e.name, ".rtbw", e.mapping, error);
  char message[128];
  if (r == platform::MapResult::NOT_FOUND) {
    std::snprintf(message, sizeof message, "info string Could not find %s.rtbw", e.name);
  } else if (r == platform::MapResult::FAILED) {
    std::snprintf(message, sizeof message, "info string Could not map %s.rtbw, error = %d.", e.name,
                  error);
  } else if (!setupTable(e, true)) {
    std::snprintf(message, sizeof message, "info string Corrupted table.");
    platform::unmapFile(e.mapping);
  } else {
    e.ready.store(true, std::memory_order_release);
    return true;
  }
  printMessage(message);
  e.disabled.store(true, std::memory_order_relaxed);
  clearSlots(e);
  return false;
}

void disableTable(TableEntry& e) {
  if (e.disabled.exchange(true)) return;
  clearSlots(e);
  printMessage("info string Corrupted table.");
}

void loadDtzTable(const board::Position& pos, uint64_t key) {
  HashSlot* slot = findSlot(key);
  if (!slot) return;
  const TableEntry& wdl = *slot->entry;
  const bool mirror = key != wdl.key;
  const board::BoardState& s = board::currentState(pos);

  for (int i = DTZ_ENTRIES - 1; i > 0; --i) dtzCache[size_t(i)] = std::move(dtzCache[size_t(i - 1)]);
  dtzCache[0] = DtzSlot{};
  dtzCache[0].key1 = materialKey(s, mirror);
  dtzCache[0].key2 = materialKey(s, !mirror);

  if (!findSlot(dtzCache[0].key1)) return;
  auto table = std::make_unique<TableEntry>();
  describe(*table, wdl.counts, wdl.name);
  int error = 0;
  const platform::MapResult r = mapTableFile(table->name, ".rtbz", table->mapping, error);
  if (r == platform::MapResult::NOT_FOUND) return;
  if (r == platform::MapResult::FAILED) {
    char message[128];
    std::snprintf(message, sizeof message, "info string Could not map %s.rtbz, error = %d.",
                  table->name, error);
    printMessage(message);
    return;
  }
  if (!setupTable(*table, false)) {
    printMessage("info string Corrupted table.");
    return;
  }
  table->ready.store(true, std::memory_order_relaxed);
  dtzCache[0].table = std::move(table);
}

void initTablebases(const char* path, bool announce) {
  if (!registry.tablesComputed) {
    initNormalisationTables();
    registry.tablesComputed = true;
  }
  releaseAll();
  if (!path || !*path) return;
  splitDirectories(path);
  registerAll();
  if (announce) {
    platform::printLine("info string Found %d tablebases.\n",
                        int(registry.pieceEntries.size() + registry.pawnEntries.size()));
    platform::flushOut();
  }
}

int largestTable() { return registry.largest; }

}  // namespace tb

#pragma once
// Internals of the tablebase reader shared by the registry, the decoder and the probes.
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "board/position.h"
#include "platform/file_map.h"

namespace tb {

constexpr int TB_PIECES = 6;       // largest table: six pieces, kings included
constexpr int TBMAX_PIECE = 254;   // tables without pawns
constexpr int TBMAX_PAWN = 256;    // tables with pawns
constexpr int TB_HASH_BITS = 10;   // tbHash has 2^10 buckets, indexed by the key's top bits
constexpr int HSHMAX = 5;          // slots per bucket
constexpr int DTZ_ENTRIES = 64;    // slots of the DTZ cache
constexpr uint32_t WDL_MAGIC = 0x5D23E871;
constexpr uint32_t DTZ_MAGIC = 0xA50C66D7;

// Decoding structures of one stored table (one side to move of one pawn file group). The pointers
// point into the mapped file; every region was checked against the mapped size at set-up.
struct PairsData {
  int indexBits = 0;  // 0: a single value (minLen) for every position
  int blockSize = 0;  // exponent: a block has 2^blockSize bytes
  int minLen = 0;
  int numSyms = 0;
  uint8_t flags = 0;
  const uint8_t* offset = nullptr;          // first symbol of each code length, 16 bits each
  const uint8_t* symbolPatterns = nullptr;  // 3 bytes per symbol
  std::vector<uint16_t> symbolLength;       // values a symbol stands for, minus one
  std::vector<uint64_t> base;               // lowest code of each length, left-aligned to 32 bits
  const uint8_t* indexTable = nullptr;      // 6 bytes per entry: block number, offset
  const uint8_t* sizeTable = nullptr;       // 16 bits per block: values in the block minus one
  const uint8_t* blockData = nullptr;
  uint64_t indexEntries = 0;
  uint64_t numBlocks = 0;   // entries of the size table
  uint64_t realBlocks = 0;  // blocks present in the data
  // DTZ value maps: the map area and the offset of each of the four maps within it.
  const uint8_t* map = nullptr;
  uint32_t mapIdx[4] = {0, 0, 0, 0};
  // Region sizes in bytes (index, size table, data), used while laying the file out.
  uint64_t sizes[3] = {0, 0, 0};
};

// Per pawn file group (a single group for tables without pawns) and per stored side: the piece
// codes in file order (type 1-6, +8 for Black, colours as the table is named), the group sizes at
// each group's first position and the multiplier of each group.
struct FileTables {
  uint8_t pieces[2][TB_PIECES] = {};
  uint8_t norm[2][TB_PIECES] = {};
  uint64_t factor[2][TB_PIECES] = {};
  PairsData pairs[2];
};

// One table, WDL or DTZ: what the registry knows from the name, the mapping and, once set up, the
// decoding structures.
struct TableEntry {
  uint64_t key = 0;   // material key as named
  uint64_t key2 = 0;  // material key with colours swapped
  char name[16] = {};
  int num = 0;
  bool symmetric = false;
  bool hasPawns = false;
  int encType = 0;            // without pawns: 0 three or more unique pieces, 2 only the kings
  int pawns[2] = {0, 0};      // with pawns: leading colour's pawns, the other colour's
  uint8_t counts[16] = {};    // pieces as named, by file code (type, +8 for Black)
  platform::MappedFile mapping;
  std::atomic<bool> ready{false};     // decoding structures set up (release/acquire)
  std::atomic<bool> disabled{false};  // failed at first use or in a later check: never used again
  bool split = false;                 // WDL: a stored table for each side to move
  int files = 1;
  std::array<FileTables, 4> fileTables;

  TableEntry() = default;
  TableEntry(const TableEntry&) = delete;
  TableEntry& operator=(const TableEntry&) = delete;
  ~TableEntry() { platform::unmapFile(mapping); }
};

// One slot of tbHash. A slot whose entry is set but whose key is 0 has been disabled.
struct HashSlot {
  std::atomic<uint64_t> key{0};
  TableEntry* entry = nullptr;
};

// One slot of the DTZ cache (driver thread only).
struct DtzSlot {
  uint64_t key1 = 0;
  uint64_t key2 = 0;
  std::unique_ptr<TableEntry> table;
};

// ---- normalisation tables (filled once by initNormalisationTables) ----
extern int8_t offDiag[64];
extern uint8_t triangle[64];
extern uint8_t flipDiag[64];
extern uint8_t lower[64];
extern int16_t kingPairIndex[10][64];
extern uint8_t pawnFlap[64];
extern uint8_t pawnTwist[64];
extern uint64_t binomial[5][64];
extern uint64_t pawnIndex[5][24];
extern uint64_t pawnFactor[5][4];

void initNormalisationTables();

// ---- decoding ----
// Sets up the decoding structures of a mapped table (wdl: ".rtbw", else ".rtbz"). False when the
// file fails a check; the entry is then unusable.
bool setupTable(TableEntry& entry, bool wdl);
// Value at index; false when a check on the stored data fails.
bool decompressValue(const PairsData& d, uint64_t index, int& value);
// Index of the squares p (in file order, changed in place) for tables without pawns / with pawns.
uint64_t encodePieces(const TableEntry& entry, const uint8_t* norm, int* p, const uint64_t* factor);
uint64_t encodePawns(const TableEntry& entry, const uint8_t* norm, int* p, const uint64_t* factor);
// File group 0-3 of the leading pawns; moves the leading pawn that decides it to p[0].
int pawnFile(const TableEntry& entry, int* p);

// ---- registry ----
extern std::array<HashSlot, (1 << TB_HASH_BITS) * HSHMAX> tbHash;
extern std::array<DtzSlot, DTZ_ENTRIES> dtzCache;

// The slot registered under key, or nullptr.
HashSlot* findSlot(uint64_t key);
// First-use set-up of a WDL table found through slot; false when it is unusable.
bool loadWdlTable(HashSlot& slot);
// Fills dtzCache slot 0 for a position of material key `key` (mirror: the key is the swapped one).
void loadDtzTable(const board::Position& pos, uint64_t key);
// Disables a table whose data failed a check during a probe; prints one line the first time.
void disableTable(TableEntry& entry);

// Fills the descriptive fields of an entry from a table name such as "KRPvKR"; false for a name
// that is not a table of two kings and at most six pieces.
bool describeName(TableEntry& entry, const char* name);

// ---- position helpers ----
// Material key of the position's pieces; with mirror, colours swapped.
uint64_t materialKey(const board::BoardState& s, bool mirror);
// Material key of counts indexed by file code (type, +8 for Black).
uint64_t materialKeyOfCounts(const uint8_t* counts, bool mirror);
// Pieces of a real colour and type, in real squares.
board::Bitboard piecesOf(const board::BoardState& s, bool black, int type);

inline uint32_t read32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint32_t read16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }

}  // namespace tb

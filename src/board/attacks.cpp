#include "board/attacks.h"

#include "platform/memory.h"

namespace board {

std::array<Bitboard, 64> kingAttacks;
std::array<Bitboard, 64> knightAttacks;
std::array<Bitboard, 8> epNeighbours;
std::array<Bitboard, 8> epCapturers;
#if TESMAR_PDEP_SLIDERS
std::array<PackedSliderEntry, 64> bishopSlider;
std::array<PackedSliderEntry, 64> rookSlider;
#else
std::array<MagicEntry, 64> bishopMagic;
std::array<MagicEntry, 64> rookMagic;
#endif
std::array<Bitboard, 4096> lineTo;
std::array<uint8_t, 4096> lineDirection;

namespace {

#if !TESMAR_PDEP_SLIDERS
// Multipliers found by tools/find_magics.cpp; every occupancy subset of a square's mask maps to its
// own index (or to one holding the same attack set) within the square's slice.
constexpr std::array<Bitboard, 64> BISHOP_MAGICS = {
    0x89A1121896040240ULL, 0x2004844802002010ULL, 0x2068080051921000ULL, 0x62880A0220200808ULL,
    0x0822021008000200ULL, 0x4083100A10082034ULL, 0x0000920170402041ULL, 0x0201004110182224ULL,
    0x0000040428080104ULL, 0x3001488230840100ULL, 0x0042080084008888ULL, 0x0104082080200000ULL,
    0x004001104024000CULL, 0x0405051008053010ULL, 0x4000084402084004ULL, 0x2810802111101080ULL,
    0x0010404024012C00ULL, 0x4811000881210400ULL, 0x0C100CA800822008ULL, 0x8008050082004042ULL,
    0x0801008820084082ULL, 0x0003000480414000ULL, 0x0080420108480400ULL, 0x2820290602020210ULL,
    0x8102483030204820ULL, 0xA010344A12840400ULL, 0x2804020640408108ULL, 0x48C8080000820500ULL,
    0x0080848004002000ULL, 0x0801004012005044ULL, 0x000080902C040400ULL, 0x0004009005004100ULL,
    0x0B103010048A0200ULL, 0x8004100203181A00ULL, 0x0800140200100080ULL, 0x8401010800910040ULL,
    0x0840010011290040ULL, 0x40100214202E1000ULL, 0x0842040040010840ULL, 0x0028010040010860ULL,
    0x00080202A2051000ULL, 0x4200841008084204ULL, 0x0021120110000D02ULL, 0x48C1004208000084ULL,
    0x0010088100414400ULL, 0x0021101000420580ULL, 0x0010040558401410ULL, 0x200C0C82A1050205ULL,
    0x0011108820088000ULL, 0x0001011910120402ULL, 0x1580008608091248ULL, 0x8010018020880C02ULL,
    0x20A1101032088480ULL, 0x0080100408082800ULL, 0x28100401140401C0ULL, 0x8002102200930012ULL,
    0x4001040082080200ULL, 0x082200A498081808ULL, 0x000508610080D003ULL, 0x0052020044842402ULL,
    0x4800A00140C84840ULL, 0x5000000848080820ULL, 0x0101086004240040ULL, 0x40102000A0A60140ULL,
};
constexpr std::array<Bitboard, 64> ROOK_MAGICS = {
    0x0A8002C000108020ULL, 0x06C00049B0002001ULL, 0x0100200010090040ULL, 0x2480041000800801ULL,
    0x0080080004008002ULL, 0x0200089004010200ULL, 0x0400009001042822ULL, 0x2080044022801100ULL,
    0x0000800080204000ULL, 0x0064804000200088ULL, 0x4060801002882000ULL, 0x08A0808010000800ULL,
    0x0002000412010820ULL, 0x2026000200080510ULL, 0x0004800A00800500ULL, 0x8820800100084880ULL,
    0x0480004000402000ULL, 0x08C8810040002100ULL, 0x4420004010004800ULL, 0x0230048010080180ULL,
    0x1000818008008C00ULL, 0x0024004002004100ULL, 0x0400840010012248ULL, 0xC000020000408401ULL,
    0x000240008004F080ULL, 0x00A0500040082000ULL, 0x2000410100102000ULL, 0x1620100100082100ULL,
    0x2000040080080080ULL, 0x0742000200081004ULL, 0x42022A0400A91018ULL, 0x8800509200204401ULL,
    0x0000800041002104ULL, 0x0100201000404000ULL, 0x2004130041002000ULL, 0xA109021001000A20ULL,
    0x0000800802800400ULL, 0xAC12002406000810ULL, 0x0104881004000102ULL, 0x00C10000410000B2ULL,
    0x44C0400121828010ULL, 0x2B80201000404000ULL, 0x0000100020008080ULL, 0x6800402200120008ULL,
    0x080200A008060010ULL, 0x0002000410020008ULL, 0x1014014832040010ULL, 0x8204E04084020001ULL,
    0x0148208001004100ULL, 0x4400200040100040ULL, 0x0000102005044100ULL, 0x2138801000080080ULL,
    0x4802080004028080ULL, 0x4610020080040080ULL, 0x0000500208010400ULL, 0x0800009041040200ULL,
    0x2203003064418001ULL, 0x0000400488110021ULL, 0x024020C20051802AULL, 0x4002004004200812ULL,
    0x0642000420081102ULL, 0x0001000C00061803ULL, 0x0340100882284104ULL, 0x0026002114058042ULL,
};
#endif

// All slider slices, square 0 to 63, bishops first: in a block of their own (one huge page on
// Linux: the table would otherwise spread over 53 small pages packed, 210 as full bitboards, and
// the search's random lookups would keep missing the TLB), or in the static fallback when that
// block cannot be had.
#if TESMAR_PDEP_SLIDERS
using SliderCell = uint16_t;
#else
using SliderCell = Bitboard;
#endif
constexpr size_t SLIDER_ENTRIES = BISHOP_TABLE_SIZE + ROOK_TABLE_SIZE;
std::array<SliderCell, SLIDER_ENTRIES> sliderFallback;
SliderCell* sliderTable = nullptr;

// File and rank steps of the eight directions in the order of the direction codes: east, west,
// north, south, north-east, south-west, north-west, south-east.
constexpr int DIRECTION_STEPS[8][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {-1, -1}, {-1, 1}, {1, -1}};
constexpr int ROOK_DIRECTIONS[4] = {0, 1, 2, 3};
constexpr int BISHOP_DIRECTIONS[4] = {4, 5, 6, 7};

bool onBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// Squares from square in one direction up to and including the first blocker in occ.
Bitboard ray(int square, int direction, Bitboard occ) {
  Bitboard result = 0;
  int file = fileOf(square), rank = rankOf(square);
  for (;;) {
    file += DIRECTION_STEPS[direction][0];
    rank += DIRECTION_STEPS[direction][1];
    if (!onBoard(file, rank)) break;
    result |= bit(rank * 8 + file);
    if (occ & bit(rank * 8 + file)) break;
  }
  return result;
}

Bitboard slidingAttacks(int square, Bitboard occ, const int (&directions)[4]) {
  Bitboard result = 0;
  for (int d : directions) result |= ray(square, d, occ);
  return result;
}

// The rays of a slider without their last square (the board edge).
Bitboard relevantMask(int square, const int (&directions)[4]) {
  Bitboard result = 0;
  for (int d : directions) {
    const Bitboard full = ray(square, d, 0);
    const int last = d == 0 || d == 2 || d == 4 || d == 6 ? platform::msb(full | 1) : platform::lsb(full | bit(63));
    if (full) result |= full & ~bit(last);
  }
  return result;
}

// Fills one square's slice starting at `slice`; returns one past its end.
#if TESMAR_PDEP_SLIDERS
SliderCell* fillSlice(PackedSliderEntry& entry, int square, const int (&directions)[4], SliderCell* slice) {
  entry.mask = relevantMask(square, directions);
  entry.rays = slidingAttacks(square, 0, directions);
  entry.attacks = slice;
  Bitboard subset = 0;
  do {
    const Bitboard attacks = slidingAttacks(square, subset, directions);
    slice[_pext_u64(subset, entry.mask)] = SliderCell(_pext_u64(attacks, entry.rays));
    subset = (subset - entry.mask) & entry.mask;
  } while (subset);
  return slice + (size_t(1) << platform::popcount(entry.mask));
}
#else
SliderCell* fillSlice(MagicEntry& entry, int square, Bitboard magic, const int (&directions)[4], SliderCell* slice) {
  entry.mask = relevantMask(square, directions);
  entry.magic = magic;
  entry.shift = uint64_t(64 - platform::popcount(entry.mask));
  entry.attacks = slice;
  Bitboard subset = 0;
  do {
    slice[(subset * magic) >> entry.shift] = slidingAttacks(square, subset, directions);
    subset = (subset - entry.mask) & entry.mask;
  } while (subset);
  return slice + (size_t(1) << (64 - entry.shift));
}
#endif

Bitboard stepAttacks(int square, const int (*steps)[2], int count) {
  Bitboard result = 0;
  for (int i = 0; i < count; ++i) {
    const int file = fileOf(square) + steps[i][0], rank = rankOf(square) + steps[i][1];
    if (onBoard(file, rank)) result |= bit(rank * 8 + file);
  }
  return result;
}

constexpr int KING_STEPS[8][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {-1, -1}, {-1, 1}, {1, -1}};
constexpr int KNIGHT_STEPS[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};

}  // namespace

void initAttackTables() {
  for (int square = 0; square < 64; ++square) {
    kingAttacks[square] = stepAttacks(square, KING_STEPS, 8);
    knightAttacks[square] = stepAttacks(square, KNIGHT_STEPS, 8);
  }
  for (int file = 0; file < 8; ++file) {
    const Bitboard beside = ((bit(file) << 1) & NOT_FILE_A) | ((bit(file) >> 1) & NOT_FILE_H);
    epNeighbours[file] = beside << 24;
    epCapturers[file] = beside << 32;
  }

  if (!sliderTable) {
    sliderTable = static_cast<SliderCell*>(platform::allocateTableBlock(SLIDER_ENTRIES * sizeof(SliderCell)));
    if (!sliderTable) sliderTable = sliderFallback.data();
  }
  SliderCell* bishopSlice = sliderTable;
  SliderCell* rookSlice = sliderTable + BISHOP_TABLE_SIZE;
  for (int square = 0; square < 64; ++square) {
#if TESMAR_PDEP_SLIDERS
    bishopSlice = fillSlice(bishopSlider[square], square, BISHOP_DIRECTIONS, bishopSlice);
    rookSlice = fillSlice(rookSlider[square], square, ROOK_DIRECTIONS, rookSlice);
#else
    bishopSlice = fillSlice(bishopMagic[square], square, BISHOP_MAGICS[square], BISHOP_DIRECTIONS, bishopSlice);
    rookSlice = fillSlice(rookMagic[square], square, ROOK_MAGICS[square], ROOK_DIRECTIONS, rookSlice);
#endif
  }

  for (int a = 0; a < 64; ++a) {
    for (int b = 0; b < 64; ++b) {
      lineTo[a * 64 + b] = 0;
      lineDirection[a * 64 + b] = 8;
    }
    for (int d = 0; d < 8; ++d) {
      const Bitboard full = ray(a, d, 0);
      for (Bitboard targets = full; targets;) {
        const int b = platform::popLsb(targets);
        lineTo[a * 64 + b] = full ^ ray(b, d, 0);
        lineDirection[a * 64 + b] = uint8_t(d);
      }
    }
  }
}

}  // namespace board

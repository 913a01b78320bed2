// Finds magic multipliers for the slider attack tables with the fixed slice sizes (bishops: 6 bits
// on corners, 9 on the four centre squares, 7 around them, 5 elsewhere; rooks: 12 on corners, 11 on
// other edge squares, 10 inside) and prints them as two C++ arrays. Multipliers given on the command
// line as "b<square>=0x..." or "r<square>=0x..." are kept when they work.
//
//   g++ -O2 -std=c++20 -o find_magics tools/find_magics.cpp && ./find_magics
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Bitboard = uint64_t;

constexpr int BISHOP_DIRS[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
constexpr int ROOK_DIRS[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};

Bitboard rayAttacks(int square, Bitboard occ, const int (*dirs)[2]) {
  Bitboard result = 0;
  for (int d = 0; d < 4; ++d) {
    int f = square & 7, r = square >> 3;
    for (;;) {
      f += dirs[d][0];
      r += dirs[d][1];
      if (f < 0 || f > 7 || r < 0 || r > 7) break;
      result |= Bitboard(1) << (r * 8 + f);
      if (occ & (Bitboard(1) << (r * 8 + f))) break;
    }
  }
  return result;
}

Bitboard relevantMask(int square, const int (*dirs)[2]) {
  Bitboard result = 0;
  for (int d = 0; d < 4; ++d) {
    int f = square & 7, r = square >> 3;
    for (;;) {
      const int nf = f + dirs[d][0], nr = r + dirs[d][1];
      if (nf < 0 || nf > 7 || nr < 0 || nr > 7) break;
      // The last square of each ray is left out.
      const int ff = nf + dirs[d][0], rr = nr + dirs[d][1];
      if (ff < 0 || ff > 7 || rr < 0 || rr > 7) break;
      result |= Bitboard(1) << (nr * 8 + nf);
      f = nf;
      r = nr;
    }
  }
  return result;
}

uint64_t rngState = 0x2545F4914F6CDD1DULL;
uint64_t nextRandom() {
  rngState ^= rngState >> 12;
  rngState ^= rngState << 25;
  rngState ^= rngState >> 27;
  return rngState * 0x2545F4914F6CDD1DULL;
}
uint64_t sparseRandom() { return nextRandom() & nextRandom() & nextRandom(); }

bool works(Bitboard magic, Bitboard mask, int bits, const std::vector<Bitboard>& occs,
           const std::vector<Bitboard>& attacks, std::vector<Bitboard>& table,
           std::vector<int>& stamp, int epoch) {
  const int shift = 64 - bits;
  for (size_t i = 0; i < occs.size(); ++i) {
    const size_t index = size_t((occs[i] * magic) >> shift);
    if (stamp[index] != epoch) {
      stamp[index] = epoch;
      table[index] = attacks[i];
    } else if (table[index] != attacks[i]) {
      return false;
    }
  }
  (void)mask;
  return true;
}

Bitboard findMagic(int square, bool rook, int bits, Bitboard given) {
  const int (*dirs)[2] = rook ? ROOK_DIRS : BISHOP_DIRS;
  const Bitboard mask = relevantMask(square, dirs);
  if (std::popcount(mask) != bits) {
    std::fprintf(stderr, "mask of square %d has %d bits, expected %d\n", square, std::popcount(mask), bits);
    std::exit(1);
  }
  std::vector<Bitboard> occs, attacks;
  Bitboard subset = 0;
  do {
    occs.push_back(subset);
    attacks.push_back(rayAttacks(square, subset, dirs));
    subset = (subset - mask) & mask;
  } while (subset);
  std::vector<Bitboard> table(size_t(1) << bits);
  std::vector<int> stamp(size_t(1) << bits, 0);
  int epoch = 0;
  if (given && works(given, mask, bits, occs, attacks, table, stamp, ++epoch)) return given;
  for (;;) {
    const Bitboard magic = sparseRandom();
    if (std::popcount((mask * magic) >> 56) < 6) continue;
    if (works(magic, mask, bits, occs, attacks, table, stamp, ++epoch)) return magic;
  }
}

int bishopBits(int square) {
  const int f = square & 7, r = square >> 3;
  const bool fileEdge = f == 0 || f == 7, rankEdge = r == 0 || r == 7;
  if (fileEdge && rankEdge) return 6;
  if (fileEdge || rankEdge) return 5;
  if (f >= 3 && f <= 4 && r >= 3 && r <= 4) return 9;
  if (f >= 2 && f <= 5 && r >= 2 && r <= 5) return 7;
  return 5;
}

int rookBits(int square) {
  const int f = square & 7, r = square >> 3;
  const bool fileEdge = f == 0 || f == 7, rankEdge = r == 0 || r == 7;
  if (fileEdge && rankEdge) return 12;
  if (fileEdge || rankEdge) return 11;
  return 10;
}

}  // namespace

int main(int argc, char** argv) {
  Bitboard givenBishop[64] = {}, givenRook[64] = {};
  for (int i = 1; i < argc; ++i) {
    const char kind = argv[i][0];
    char* end = nullptr;
    const long square = std::strtol(argv[i] + 1, &end, 10);
    if (square < 0 || square > 63 || !end || *end != '=') continue;
    const Bitboard value = std::strtoull(end + 1, nullptr, 16);
    if (kind == 'b') givenBishop[square] = value;
    if (kind == 'r') givenRook[square] = value;
  }
  const char* names[2] = {"BISHOP_MAGICS", "ROOK_MAGICS"};
  for (int kind = 0; kind < 2; ++kind) {
    std::printf("constexpr std::array<Bitboard, 64> %s = {\n", names[kind]);
    for (int square = 0; square < 64; ++square) {
      const Bitboard magic = kind == 0 ? findMagic(square, false, bishopBits(square), givenBishop[square])
                                       : findMagic(square, true, rookBits(square), givenRook[square]);
      std::printf("%s0x%016llXULL,%s", square % 4 == 0 ? "    " : " ", (unsigned long long)magic,
                  square % 4 == 3 ? "\n" : "");
    }
    std::printf("};\n");
  }
  return 0;
}

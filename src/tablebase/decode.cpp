// Table set-up from a mapped Syzygy file, decompression of one value and the index encodings.
//
// Every offset, count, block number and symbol read from a file is checked against the mapped size
// (or the table's own limits) before it is used; a file that fails a check is refused at set-up, and
// a value whose decoding fails a check is reported to the probe as a failure.
#include <algorithm>
#include <cstring>

#include "tablebase/tb_internal.h"

namespace tb {

int8_t offDiag[64];
uint8_t triangle[64];
uint8_t flipDiag[64];
uint8_t lower[64];
int16_t kingPairIndex[10][64];
uint8_t pawnFlap[64];
uint8_t pawnTwist[64];
uint64_t binomial[5][64];
uint64_t pawnIndex[5][24];
uint64_t pawnFactor[5][4];

namespace {

constexpr uint64_t PIVOT_FACTOR[3] = {31332, 28056, 462};

// Triangle numbers of the folded squares: b1 c1 d1 c2 d2 d3 a1 b2 c3 d4.
constexpr int TRIANGLE_SQUARES[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};

int fileOf(int s) { return s & 7; }
int rankOf(int s) { return s >> 3; }

bool adjacentOrSame(int a, int b) {
  const int df = fileOf(a) - fileOf(b);
  const int dr = rankOf(a) - rankOf(b);
  return df >= -1 && df <= 1 && dr >= -1 && dr <= 1;
}

int invPawnFlap(int i) { return (i % 6 + 1) * 8 + i / 6; }

uint64_t choose(int n, int k) {
  if (k < 0 || n < k) return 0;
  uint64_t r = 1;
  for (int i = 1; i <= k; ++i) r = r * uint64_t(n - k + i) / uint64_t(i);
  return r;
}

// A bounds-checked reading position in the mapped file.
struct Cursor {
  const uint8_t* data;
  size_t size;
  size_t pos;
  bool has(uint64_t n) const { return pos <= size && n <= size - pos; }
};

// Checks one side's piece codes against the table's material: valid codes, each kind as often as
// the name says and in one run, and the leading group that the index encoding expects.
bool validPieces(const TableEntry& e, const uint8_t* pc) {
  uint8_t seen[16] = {};
  for (int i = 0; i < e.num; ++i) {
    const int code = pc[i];
    if ((code & 7) == 0 || (code & 7) == 7) return false;
    if (i > 0 && pc[i - 1] != code && seen[code]) return false;  // not one run
    ++seen[code];
  }
  for (int c = 0; c < 16; ++c)
    if (seen[c] != e.counts[c]) return false;
  if (!e.hasPawns) {
    const int unique = e.encType == 0 ? 3 : 2;
    for (int i = 0; i < unique; ++i)
      if (e.counts[pc[i]] != 1) return false;
    return true;
  }
  for (int i = 0; i < e.pawns[0]; ++i)
    if ((pc[i] & 7) != board::PAWN || pc[i] != pc[0]) return false;
  for (int i = 0; i < e.pawns[1]; ++i)
    if ((pc[e.pawns[0] + i] & 7) != board::PAWN || pc[e.pawns[0] + i] == pc[0]) return false;
  return true;
}

// Groups and multipliers of a table without pawns; returns the number of positions (0: corrupt).
uint64_t setNormPieces(const TableEntry& e, const uint8_t* pc, int order, uint8_t* norm,
                       uint64_t* factor) {
  std::memset(norm, 0, TB_PIECES);
  bool assigned[TB_PIECES] = {};
  norm[0] = uint8_t(e.encType == 0 ? 3 : 2);
  for (int i = norm[0]; i < e.num; i += norm[i]) {
    norm[i] = 1;
    for (int j = i + 1; j < e.num && pc[j] == pc[i]; ++j) ++norm[i];
  }
  int freeSquares = 64 - norm[0];
  uint64_t f = 1;
  for (int k = 0, i = norm[0]; i < e.num || k == order; ++k) {
    if (k == order) {
      factor[0] = f;
      assigned[0] = true;
      f *= PIVOT_FACTOR[e.encType];
    } else {
      factor[i] = f;
      assigned[i] = true;
      f *= choose(freeSquares, norm[i]);
      freeSquares -= norm[i];
      i += norm[i];
    }
  }
  return assigned[0] ? f : 0;
}

// The same for a table with pawns, for pawn file group `file`.
uint64_t setNormPawns(const TableEntry& e, const uint8_t* pc, int order, int order2, int file,
                      uint8_t* norm, uint64_t* factor) {
  std::memset(norm, 0, TB_PIECES);
  bool assigned[TB_PIECES] = {};
  const int p0 = e.pawns[0], p1 = e.pawns[1];
  norm[0] = uint8_t(p0);
  if (p1 > 0) norm[p0] = uint8_t(p1);
  for (int i = p0 + p1; i < e.num; i += norm[i]) {
    norm[i] = 1;
    for (int j = i + 1; j < e.num && pc[j] == pc[i]; ++j) ++norm[i];
  }
  int freeSquares = 64 - (order2 != 15 ? p0 + p1 : p0);
  uint64_t f = 1;
  for (int k = 0, i = p0 + p1; i < e.num || k == order || k == order2; ++k) {
    if (k == order) {
      factor[0] = f;
      assigned[0] = true;
      f *= pawnFactor[p0 - 1][file];
    } else if (k == order2) {
      factor[p0] = f;
      assigned[p0] = true;
      f *= choose(48 - p0, p1);
    } else {
      factor[i] = f;
      assigned[i] = true;
      f *= choose(freeSquares, norm[i]);
      freeSquares -= norm[i];
      i += norm[i];
    }
  }
  if (!assigned[0] || (p1 > 0 && !assigned[p0])) return 0;
  return f;
}

// Reads one pairs header at c.pos for a table of n positions; advances c.pos past it.
bool setupPairs(Cursor& c, uint64_t n, bool wdl, PairsData& d) {
  if (!c.has(2)) return false;
  const uint8_t* h = c.data + c.pos;
  d.flags = h[0];
  if (h[0] & 0x80) {
    d.indexBits = 0;
    d.minLen = wdl ? h[1] : 0;
    c.pos += 2;
    return true;
  }
  if (!c.has(12)) return false;
  d.blockSize = h[1];
  d.indexBits = h[2];
  const uint64_t realBlocks = read32(h + 4);
  d.realBlocks = realBlocks;
  d.numBlocks = realBlocks + h[3];
  const int maxLen = h[8];
  d.minLen = h[9];
  if (d.indexBits < 1 || d.indexBits > 40 || d.blockSize > 30 || d.minLen < 1 || maxLen < d.minLen ||
      maxLen > 32)
    return false;
  const int lengths = maxLen - d.minLen + 1;
  if (!c.has(12 + 2 * uint64_t(lengths))) return false;
  d.offset = h + 10;
  d.numSyms = int(read16(h + 10 + 2 * lengths));
  const uint64_t patternBytes = 3 * uint64_t(d.numSyms) + (d.numSyms & 1);
  if (!c.has(12 + 2 * uint64_t(lengths) + patternBytes)) return false;
  d.symbolPatterns = h + 12 + 2 * lengths;

  // Symbol lengths, children first, without recursion; a cycle or a child out of range is corrupt.
  d.symbolLength.assign(size_t(d.numSyms), 0);
  std::vector<uint8_t> state(size_t(d.numSyms), 0);  // 0 new, 1 on the stack, 2 done
  std::vector<int> stack;
  for (int s = 0; s < d.numSyms; ++s) {
    if (state[size_t(s)] == 2) continue;
    stack.push_back(s);
    while (!stack.empty()) {
      const int t = stack.back();
      const uint8_t* w = d.symbolPatterns + 3 * t;
      const int left = w[0] | (w[1] & 0xF) << 8;
      const int right = (w[1] >> 4) | w[2] << 4;
      if (right == 0xFFF) {
        d.symbolLength[size_t(t)] = 0;
        state[size_t(t)] = 2;
        stack.pop_back();
        continue;
      }
      if (left >= d.numSyms || right >= d.numSyms) return false;
      state[size_t(t)] = 1;
      bool pushed = false;
      for (const int child : {left, right}) {
        if (state[size_t(child)] == 1) return false;
        if (state[size_t(child)] == 0) {
          stack.push_back(child);
          pushed = true;
        }
      }
      if (pushed) continue;
      const uint32_t len =
          uint32_t(d.symbolLength[size_t(left)]) + d.symbolLength[size_t(right)] + 1;
      if (len > 0xFFFF) return false;
      d.symbolLength[size_t(t)] = uint16_t(len);
      state[size_t(t)] = 2;
      stack.pop_back();
    }
  }

  d.base.assign(size_t(lengths), 0);
  int64_t b = 0;
  for (int i = lengths - 2; i >= 0; --i) {
    b = (b + int64_t(read16(d.offset + 2 * i)) - int64_t(read16(d.offset + 2 * (i + 1)))) / 2;
    if (b < 0 || b > (int64_t(1) << 32)) return false;
    d.base[size_t(i)] = uint64_t(b);
  }
  for (int i = 0; i < lengths; ++i) d.base[size_t(i)] <<= 32 - (d.minLen + i);

  d.indexEntries = (n + (uint64_t(1) << d.indexBits) - 1) >> d.indexBits;
  d.sizes[0] = 6 * d.indexEntries;
  d.sizes[1] = 2 * d.numBlocks;
  d.sizes[2] = d.realBlocks << d.blockSize;
  c.pos += 12 + 2 * size_t(lengths) + size_t(patternBytes);
  return true;
}

}  // namespace

void initNormalisationTables() {
  for (int s = 0; s < 64; ++s) {
    const int f = fileOf(s), r = rankOf(s);
    offDiag[s] = int8_t(r > f ? 1 : r < f ? -1 : 0);
    flipDiag[s] = uint8_t(f * 8 + r);
    int ff = f > 3 ? 7 - f : f, rr = r > 3 ? 7 - r : r;
    if (rr > ff) std::swap(rr, ff);
    const int folded = rr * 8 + ff;
    triangle[s] = 0;
    for (int t = 0; t < 10; ++t)
      if (TRIANGLE_SQUARES[t] == folded) triangle[s] = uint8_t(t);
  }
  int below = 0;
  for (int s = 0; s < 64; ++s)
    if (rankOf(s) < fileOf(s)) lower[s] = uint8_t(below++);
  for (int s = 0; s < 64; ++s) {
    if (rankOf(s) > fileOf(s)) lower[s] = lower[flipDiag[s]];
    if (rankOf(s) == fileOf(s)) lower[s] = uint8_t(28 + rankOf(s));
  }

  int next = 0;
  for (int t = 0; t < 10; ++t)
    for (int s = 0; s < 64; ++s) kingPairIndex[t][s] = -1;
  for (int t = 0; t < 6; ++t)
    for (int s = 0; s < 64; ++s)
      if (!adjacentOrSame(s, TRIANGLE_SQUARES[t])) kingPairIndex[t][s] = int16_t(next++);
  for (int t = 6; t < 10; ++t)
    for (int s = 0; s < 64; ++s)
      if (rankOf(s) < fileOf(s) && !adjacentOrSame(s, TRIANGLE_SQUARES[t]))
        kingPairIndex[t][s] = int16_t(next++);
  for (int t = 6; t < 10; ++t)
    for (int s = 0; s < 64; ++s)
      if (rankOf(s) == fileOf(s) && !adjacentOrSame(s, TRIANGLE_SQUARES[t]))
        kingPairIndex[t][s] = int16_t(next++);

  for (int s = 0; s < 64; ++s) {
    const int f = fileOf(s), r = rankOf(s);
    pawnFlap[s] = pawnTwist[s] = 0;
    if (r < 1 || r > 6) continue;
    pawnFlap[s] = uint8_t(6 * std::min(f, 7 - f) + (r - 1));
    pawnTwist[s] = uint8_t(f >= 4 ? 2 * (6 - r) + 12 * (f - 4) : 2 * (6 - r) + 1 + 12 * (3 - f));
  }
  for (int k = 0; k < 5; ++k)
    for (int n = 0; n < 64; ++n) binomial[k][n] = choose(n, k + 1);
  for (int k = 0; k < 5; ++k)
    for (int g = 0; g < 4; ++g) {
      uint64_t sum = 0;
      for (int j = 6 * g; j < 6 * g + 6; ++j) {
        pawnIndex[k][j] = sum;
        sum += k == 0 ? 1 : binomial[k - 1][pawnTwist[invPawnFlap(j)]];
      }
      pawnFactor[k][g] = sum;
    }
}

bool setupTable(TableEntry& e, bool wdl) {
  Cursor c{e.mapping.data, e.mapping.size, 0};
  if (!c.has(5) || read32(c.data) != (wdl ? WDL_MAGIC : DTZ_MAGIC)) return false;
  const uint8_t header = c.data[4];
  if (bool(header & 2) != e.hasPawns) return false;
  e.split = wdl && (header & 1);
  e.files = e.hasPawns ? 4 : 1;
  const int sides = e.split ? 2 : 1;
  c.pos = 5;

  uint64_t n[4][2] = {};
  for (int f = 0; f < e.files; ++f) {
    FileTables& ft = e.fileTables[size_t(f)];
    const bool second = e.hasPawns && e.pawns[1] > 0;
    if (!c.has(1 + (second ? 1 : 0) + uint64_t(e.num))) return false;
    const uint8_t orderByte = c.data[c.pos++];
    const uint8_t order2Byte = second ? c.data[c.pos++] : 0xFF;
    for (int i = 0; i < e.num; ++i) {
      ft.pieces[0][i] = c.data[c.pos + size_t(i)] & 0xF;
      ft.pieces[1][i] = c.data[c.pos + size_t(i)] >> 4;
    }
    c.pos += size_t(e.num);
    for (int s = 0; s < sides; ++s) {
      const int order = s == 0 ? orderByte & 0xF : orderByte >> 4;
      const int order2 = s == 0 ? order2Byte & 0xF : order2Byte >> 4;
      if (!validPieces(e, ft.pieces[s])) return false;
      if (e.hasPawns && ft.pieces[s][0] != e.fileTables[0].pieces[0][0]) return false;
      n[f][s] = e.hasPawns ? setNormPawns(e, ft.pieces[s], order, order2, f, ft.norm[s], ft.factor[s])
                           : setNormPieces(e, ft.pieces[s], order, ft.norm[s], ft.factor[s]);
      if (n[f][s] == 0) return false;
    }
    if (sides == 1) {  // one stored side serves both
      std::memcpy(ft.pieces[1], ft.pieces[0], TB_PIECES);
      std::memcpy(ft.norm[1], ft.norm[0], TB_PIECES);
      std::memcpy(ft.factor[1], ft.factor[0], sizeof ft.factor[0]);
    }
  }
  c.pos += c.pos & 1;

  for (int f = 0; f < e.files; ++f)
    for (int s = 0; s < sides; ++s)
      if (!setupPairs(c, n[f][s], wdl, e.fileTables[size_t(f)].pairs[s])) return false;

  if (!wdl) {
    const size_t mapStart = c.pos;
    bool anyMap = false;
    for (int f = 0; f < e.files; ++f) {
      PairsData& d = e.fileTables[size_t(f)].pairs[0];
      d.map = c.data + std::min(mapStart, c.size);
      if (!(d.flags & 2)) continue;
      anyMap = true;
      for (int i = 0; i < 4; ++i) {
        if (!c.has(1)) return false;
        d.mapIdx[i] = uint32_t(c.pos + 1 - mapStart);
        c.pos += 1 + size_t(c.data[c.pos]);
      }
    }
    if ((e.hasPawns || anyMap) && (c.pos & 1)) ++c.pos;
  }

  for (int part = 0; part < 3; ++part)
    for (int f = 0; f < e.files; ++f)
      for (int s = 0; s < sides; ++s) {
        PairsData& d = e.fileTables[size_t(f)].pairs[s];
        if (part == 2) c.pos = (c.pos + 63) & ~size_t(63);
        if (!c.has(d.sizes[part])) return false;
        const uint8_t* at = c.data + c.pos;
        (part == 0 ? d.indexTable : part == 1 ? d.sizeTable : d.blockData) = at;
        c.pos += size_t(d.sizes[part]);
      }

  return true;
}

bool decompressValue(const PairsData& d, uint64_t index, int& value) {
  if (d.indexBits == 0) {
    value = d.minLen;
    return true;
  }
  const uint64_t mainIndex = index >> d.indexBits;
  if (mainIndex >= d.indexEntries) return false;
  const uint8_t* entry = d.indexTable + 6 * mainIndex;
  int64_t block = read32(entry);
  int64_t lit = int64_t(index & ((uint64_t(1) << d.indexBits) - 1)) -
                (int64_t(1) << (d.indexBits - 1)) + int64_t(read16(entry + 4));
  if (uint64_t(block) >= d.numBlocks) return false;
  while (lit < 0) {
    if (--block < 0) return false;
    lit += int64_t(read16(d.sizeTable + 2 * block)) + 1;
  }
  while (lit > int64_t(read16(d.sizeTable + 2 * block))) {
    lit -= int64_t(read16(d.sizeTable + 2 * block)) + 1;
    if (uint64_t(++block) >= d.numBlocks) return false;
  }
  if (uint64_t(block) >= d.realBlocks) return false;

  // The block's bits, read as big-endian 32-bit words; bytes past the block read as zero.
  const uint8_t* const blockStart = d.blockData + (uint64_t(block) << d.blockSize);
  const uint64_t blockBytes = uint64_t(1) << d.blockSize;
  uint64_t at = 0;      // next byte of the block to read
  uint64_t buffer = 0;  // valid bits at the top
  int bits = 0;
  auto refill = [&] {
    while (bits <= 32) {
      uint32_t word = 0;
      for (int i = 0; i < 4; ++i, ++at) word = word << 8 | (at < blockBytes ? blockStart[at] : 0);
      buffer |= uint64_t(word) << (32 - bits);
      bits += 32;
    }
  };
  refill();
  int sym;
  for (;;) {
    const uint64_t code = buffer >> 32;
    int l = 0;
    while (code < d.base[size_t(l)]) ++l;
    const int len = d.minLen + l;
    sym = int(read16(d.offset + 2 * l) + ((code - d.base[size_t(l)]) >> (32 - len)));
    if (sym >= d.numSyms) return false;
    if (lit < int64_t(d.symbolLength[size_t(sym)]) + 1) break;
    lit -= int64_t(d.symbolLength[size_t(sym)]) + 1;
    buffer <<= len;
    bits -= len;
    if (at > blockBytes + 8) return false;  // ran past the block: the counts do not fit the data
    refill();
  }
  while (d.symbolLength[size_t(sym)] != 0) {
    const uint8_t* w = d.symbolPatterns + 3 * sym;
    const int left = w[0] | (w[1] & 0xF) << 8;
    if (lit < int64_t(d.symbolLength[size_t(left)]) + 1) {
      sym = left;
    } else {
      lit -= int64_t(d.symbolLength[size_t(left)]) + 1;
      sym = (w[1] >> 4) | w[2] << 4;
    }
  }
  value = d.symbolPatterns[3 * sym];
  return true;
}

uint64_t encodePieces(const TableEntry& e, const uint8_t* norm, int* p, const uint64_t* factor) {
  const int n = e.num;
  if (p[0] & 4)
    for (int i = 0; i < n; ++i) p[i] ^= 7;
  if (p[0] & 32)
    for (int i = 0; i < n; ++i) p[i] ^= 56;
  int i = 0;
  while (i < n && offDiag[p[i]] == 0) ++i;
  if (i < n && i < (e.encType == 0 ? 3 : 2) && offDiag[p[i]] > 0)
    for (int k = 0; k < n; ++k) p[k] = flipDiag[p[k]];

  uint64_t idx;
  int next;
  if (e.encType == 0) {
    const int a = p[1] > p[0];
    const int b = (p[2] > p[0]) + (p[2] > p[1]);
    if (offDiag[p[0]])
      idx = uint64_t(triangle[p[0]]) * 63 * 62 + uint64_t(p[1] - a) * 62 + uint64_t(p[2] - b);
    else if (offDiag[p[1]])
      idx = 6 * 63 * 62 + uint64_t(rankOf(p[0])) * 28 * 62 + uint64_t(lower[p[1]]) * 62 +
            uint64_t(p[2] - b);
    else if (offDiag[p[2]])
      idx = 6 * 63 * 62 + 4 * 28 * 62 + uint64_t(rankOf(p[0])) * 7 * 28 +
            uint64_t(rankOf(p[1]) - a) * 28 + lower[p[2]];
    else
      idx = 6 * 63 * 62 + 4 * 28 * 62 + 4 * 7 * 28 + uint64_t(rankOf(p[0])) * 7 * 6 +
            uint64_t(rankOf(p[1]) - a) * 6 + uint64_t(rankOf(p[2]) - b);
    next = 3;
  } else {
    idx = uint64_t(kingPairIndex[triangle[p[0]]][p[1]]);
    next = 2;
  }
  idx *= factor[0];

  for (int start = next; start < n;) {
    const int t = norm[start];
    std::sort(p + start, p + start + t);
    uint64_t s = 0;
    for (int m = 0; m < t; ++m) {
      const int q = p[start + m];
      int below = 0;
      for (int k = 0; k < start; ++k) below += p[k] < q;
      s += binomial[m][q - below];
    }
    idx += s * factor[start];
    start += t;
  }
  return idx;
}

int pawnFile(const TableEntry& e, int* p) {
  for (int i = 1; i < e.pawns[0]; ++i)
    if (pawnFlap[p[0]] > pawnFlap[p[i]]) std::swap(p[0], p[i]);
  const int f = fileOf(p[0]);
  return f > 3 ? 7 - f : f;
}

uint64_t encodePawns(const TableEntry& e, const uint8_t* norm, int* p, const uint64_t* factor) {
  const int n = e.num;
  const int p0 = e.pawns[0];
  if (p[0] & 4)
    for (int i = 0; i < n; ++i) p[i] ^= 7;
  std::sort(p + 1, p + p0, [](int a, int b) { return pawnTwist[a] > pawnTwist[b]; });

  uint64_t idx = pawnIndex[p0 - 1][pawnFlap[p[0]]];
  for (int i = p0 - 1; i > 0; --i) idx += binomial[p0 - 1 - i][pawnTwist[p[i]]];
  idx *= factor[0];

  int start = p0;
  if (e.pawns[1] > 0) {
    const int t = norm[start];
    std::sort(p + start, p + start + t);
    uint64_t s = 0;
    for (int m = 0; m < t; ++m) {
      const int q = p[start + m];
      int below = 0;
      for (int k = 0; k < p0; ++k) below += p[k] < q;
      s += binomial[m][q - below - 8];
    }
    idx += s * factor[start];
    start += t;
  }
  for (; start < n;) {
    const int t = norm[start];
    std::sort(p + start, p + start + t);
    uint64_t s = 0;
    for (int m = 0; m < t; ++m) {
      const int q = p[start + m];
      int below = 0;
      for (int k = 0; k < start; ++k) below += p[k] < q;
      s += binomial[m][q - below];
    }
    idx += s * factor[start];
    start += t;
  }
  return idx;
}

}  // namespace tb

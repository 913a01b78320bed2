#pragma once
// The Random64 table of the Polyglot opening-book format: 781 public values, identical in every
// Polyglot reader. Layout of the indices:
//   0..767    pieces: 64 * kind + square, kind = 2 * (type - 1) + (1 for White, 0 for Black),
//             square a1 = 0 .. h8 = 63 from White's side
//   768..771  castling: White king side, White queen side, Black king side, Black queen side
//   772..779  en-passant file a..h
//   780       White to move
#include <array>
#include <cstdint>

namespace book {

constexpr int POLYGLOT_RANDOM_COUNT = 781;
constexpr int POLYGLOT_CASTLE_WHITE_KING = 768;
constexpr int POLYGLOT_CASTLE_WHITE_QUEEN = 769;
constexpr int POLYGLOT_CASTLE_BLACK_KING = 770;
constexpr int POLYGLOT_CASTLE_BLACK_QUEEN = 771;
constexpr int POLYGLOT_EP_FILE = 772;  // + file
constexpr int POLYGLOT_WHITE_TO_MOVE = 780;

extern const std::array<uint64_t, POLYGLOT_RANDOM_COUNT> polyglotRandom64;

}  // namespace book

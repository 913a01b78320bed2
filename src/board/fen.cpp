// FEN reading and writing.
//
// A FEN is refused (and the position left as it was) when a field cannot be read, when the placement
// does not give each side exactly one king, puts a pawn on the first or eighth rank, gives a side
// more than 16 pieces, more than 8 pawns or more promoted pieces than missing pawns, or when the side
// not to move is in check (kings standing side by side included). Fields after the side to move may
// be missing: castling and en passant then read as "-", the halfmove clock as 0, the fullmove number
// as 1. Blanks, tabs and line ends all separate fields; text after the sixth field is refused.
//
// The castling field takes each colour's rights in any of three forms, mixed as they come: "KQkq"
// (X-FEN: the outermost rook on that side of the king), the file of the castling rook ("HAha",
// Shredder-FEN, for Chess960 where the rook may stand on any file), or both ("KAk"). A right whose
// king is not on its back rank, or whose rook is not on the back rank on that side of the king, is
// dropped, and so is an en-passant file without an opponent's pawn that could just have made the
// double step; neither can be played, and keeping them would let a move corrupt the record.
#include "board/fen.h"

#include <cstdio>
#include <cstring>

#include "board/attacks.h"
#include "board/make_move.h"
#include "board/queries_inline.h"

namespace board {

namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Splits text into blank-separated fields; returns their number (at most maxFields + 1, so that a
// surplus shows).
int splitFields(std::string_view text, std::string_view* fields, int maxFields) {
  int count = 0;
  size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && isSpace(text[i])) ++i;
    if (i >= text.size()) break;
    const size_t start = i;
    while (i < text.size() && !isSpace(text[i])) ++i;
    if (count == maxFields) return count + 1;
    fields[count++] = text.substr(start, i - start);
  }
  return count;
}

int pieceTypeOf(char letter) {
  switch (letter | 0x20) {
    case 'p': return PAWN;
    case 'n': return KNIGHT;
    case 'b': return BISHOP;
    case 'r': return ROOK;
    case 'q': return QUEEN;
    case 'k': return KING;
    default: return 0;
  }
}

// Reads a field of decimal digits, saturating at `limit`; false if it holds anything else.
bool readNumber(std::string_view field, int limit, int& value) {
  if (field.empty()) return false;
  long long result = 0;
  for (char c : field) {
    if (c < '0' || c > '9') return false;
    result = result * 10 + (c - '0');
    if (result > limit) result = limit;
  }
  value = int(result);
  return true;
}

// Placement into a record seen from White's side (White's pieces own).
bool readPlacement(std::string_view field, BoardState& s) {
  int rank = 7, file = 0;
  for (char c : field) {
    if (c == '/') {
      if (file != 8 || rank == 0) return false;
      --rank;
      file = 0;
    } else if (c >= '1' && c <= '8') {
      file += c - '0';
      if (file > 8) return false;
    } else {
      const int type = pieceTypeOf(c);
      if (type == 0 || file > 7) return false;
      const int square = rank * 8 + file;
      if (type & 1) s.bb[1] |= bit(square);
      if (type & 2) s.bb[2] |= bit(square);
      if (type & 4) s.bb[3] |= bit(square);
      if (c >= 'A' && c <= 'Z') s.bb[0] |= bit(square);
      ++file;
    }
  }
  return rank == 0 && file == 8;
}

// Material a side can really have: one king, at most 8 pawns and 16 pieces, and no more pieces
// beyond the starting set than pawns have gone missing.
bool sideMaterialValid(const BoardState& s, Bitboard side) {
  const int pawnCount = platform::popcount(pawns(s) & side);
  if (platform::popcount(kings(s) & side) != 1) return false;
  if (pawnCount > 8 || platform::popcount(side) > 16) return false;
  auto extra = [&](Bitboard set, int normal) {
    const int n = platform::popcount(set & side);
    return n > normal ? n - normal : 0;
  };
  const int promoted = extra(knights(s), 2) + extra(bishops(s), 2) + extra(rooks(s), 2) + extra(queens(s), 1);
  return promoted <= 8 - pawnCount;
}

}  // namespace

bool setupFromFen(Position& pos, std::string_view fen) {
  std::string_view fields[6];
  const int count = splitFields(fen, fields, 6);
  if (count < 2 || count > 6) return false;

  BoardState s{};
  s.epFile = NO_EP_FILE;
  if (!readPlacement(fields[0], s)) return false;
  const Bitboard white = s.bb[0], black = occupied(s) ^ s.bb[0];
  if (!sideMaterialValid(s, white) || !sideMaterialValid(s, black)) return false;
  if (pawns(s) & (RANK_1 | RANK_8)) return false;

  if (fields[1] != "w" && fields[1] != "b") return false;
  const bool blackToMove = fields[1] == "b";

  // Castling: per colour and side, the file of the rook (-1: no right).
  int rookFiles[2][2] = {{-1, -1}, {-1, -1}};
  int kingFiles[2] = {-1, -1};
  for (int colour = 0; colour < 2; ++colour) {
    const Bitboard king = kings(s) & (colour ? black & RANK_8 : white & RANK_1);
    if (king) kingFiles[colour] = fileOf(platform::lsb(king));
  }
  if (count > 2 && fields[2] != "-") {
    for (char c : fields[2]) {
      const int colour = c >= 'a' ? 1 : 0;
      const char upper = colour ? char(c - 32) : c;
      const int kingFile = kingFiles[colour];
      const uint8_t backRank = uint8_t((rooks(s) & (colour ? black : white)) >> (colour ? 56 : 0));
      int rookFile = -1;
      if (upper == 'K' || upper == 'Q') {
        for (int file = 0; file < 8; ++file)
          if (((backRank >> file) & 1) && kingFile >= 0 && (upper == 'K' ? file > kingFile : file < kingFile) &&
              (rookFile < 0 || upper == 'K'))
            rookFile = file;
      } else if (upper >= 'A' && upper <= 'H') {
        rookFile = ((backRank >> (upper - 'A')) & 1) ? upper - 'A' : -1;
      } else {
        return false;
      }
      if (kingFile < 0 || rookFile < 0 || rookFile == kingFile) continue;  // dropped
      int& right = rookFiles[colour][rookFile > kingFile ? KING_SIDE : QUEEN_SIDE];
      if (right < 0) right = rookFile;
    }
  }
  bool nonStandard = false;
  std::array<std::array<CastlingRule, 2>, 2> rules = castlingRules;
  for (int colour = 0; colour < 2; ++colour) {
    for (int side : {QUEEN_SIDE, KING_SIDE}) {
      const int rookFile = rookFiles[colour][side];
      rules[colour][side] = makeCastlingRule(rookFile < 0 ? 4 : kingFiles[colour], rookFile < 0 ? 7 * side : rookFile, side);
      if (rookFile < 0) continue;
      s.castling |= uint8_t((side == KING_SIDE ? CASTLE_OWN_KING : CASTLE_OWN_QUEEN) << (4 * colour));
      nonStandard |= kingFiles[colour] != 4 || rookFile != 7 * side;
    }
  }

  if (count > 3 && fields[3] != "-") {
    const std::string_view ep = fields[3];
    if (ep.size() != 2 || ep[0] < 'a' || ep[0] > 'h' || ep[1] < '1' || ep[1] > '8') return false;
    s.epFile = uint8_t(ep[0] - 'a');
  }
  int halfmoveClock = 0, fullmove = 1;
  if (count > 4 && !readNumber(fields[4], 255, halfmoveClock)) return false;
  if (count > 5 && !readNumber(fields[5], 1 << 20, fullmove)) return false;
  s.halfmoveClock = uint8_t(halfmoveClock);

  if (blackToMove) mirrorPosition(s);  // keys are recomputed below

  // The side not to move must not be in check; seen from its side, with the kings included.
  BoardState other = s;
  mirrorPosition(other);
  if (attackersOf(other, ownKingSquare(other), occupied(other))) return false;

  // An en-passant file needs the opponent's pawn that has just made its double step, with the two
  // squares behind it empty.
  if (s.epFile != NO_EP_FILE) {
    const int file = s.epFile;
    const bool plausible = (pawns(s) & ~s.bb[0] & bit(32 + file)) && !(occupied(s) & (bit(40 + file) | bit(48 + file)));
    if (!plausible) s.epFile = NO_EP_FILE;
  }

  computeKeys(s);
  if (attackersOf(s, ownKingSquare(s), occupied(s))) s.flags |= FLAG_IN_CHECK;
  pos.states[0] = s;
  pos.current = pos.states.data();
  castlingRules = rules;
  chess960 = nonStandard;
  standardCastling = !nonStandard;
  fenMoveNumber = fullmove;
  return true;
}

void positionToFen(const Position& pos, char* buffer, int size) {
  if (size <= 0) return;
  BoardState s = currentState(pos);
  const bool blackToMove = (s.flags & FLAG_BLACK) != 0;
  if (blackToMove) mirrorPosition(s);  // White's side: White's pieces own
  char text[128];
  int n = 0;
  static constexpr char LETTERS[8] = {'?', 'p', 'n', 'b', 'r', 'q', 'k', '?'};
  for (int rank = 7; rank >= 0; --rank) {
    int empty = 0;
    for (int file = 0; file < 8; ++file) {
      const int square = rank * 8 + file;
      const int type = pieceOn(s, square);
      if (type == 0) {
        ++empty;
        continue;
      }
      if (empty) text[n++] = char('0' + empty);
      empty = 0;
      const char letter = LETTERS[type];
      text[n++] = ((s.bb[0] >> square) & 1) ? char(letter - 32) : letter;
    }
    if (empty) text[n++] = char('0' + empty);
    if (rank) text[n++] = '/';
  }
  text[n++] = ' ';
  text[n++] = blackToMove ? 'b' : 'w';
  text[n++] = ' ';
  const int before = n;
  // Chess960: the files of the castling rooks (Shredder-FEN).
  static constexpr char RIGHTS[2][2] = {{'Q', 'K'}, {'q', 'k'}};
  for (int colour = 0; colour < 2; ++colour)
    for (int side : {KING_SIDE, QUEEN_SIDE})
      if (s.castling & ((side == KING_SIDE ? CASTLE_OWN_KING : CASTLE_OWN_QUEEN) << (4 * colour)))
        text[n++] = chess960 ? char((colour ? 'a' : 'A') + castlingRules[colour][side].rookSquare) : RIGHTS[colour][side];
  if (n == before) text[n++] = '-';
  text[n++] = ' ';
  if (s.epFile != NO_EP_FILE) {
    text[n++] = char('a' + s.epFile);
    text[n++] = blackToMove ? '3' : '6';
  } else {
    text[n++] = '-';
  }
  std::snprintf(text + n, sizeof(text) - size_t(n), " %d 1", int(s.halfmoveClock));
  std::snprintf(buffer, size_t(size), "%s", text);
}

}  // namespace board

// The "position" and "go" handlers.
#include "uci/position_go.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move.h"
#include "board/movegen.h"
#include "board/queries.h"
#include "platform/clock.h"
#include "search/strength.h"
#include "platform/log_file.h"
#include "search/driver.h"
#include "search/thread.h"
#include "uci/commands.h"
#include "uci/options.h"

namespace uci {

namespace {

// Whether a "position" (or a "go" before any) has set up the root position.
bool rootPositionSet = false;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Blank-separated words of a line.
class Words {
 public:
  explicit Words(std::string_view text) : rest_(text) {}
  // The next word, or an empty view at the end.
  std::string_view next() {
    size_t i = 0;
    while (i < rest_.size() && isBlank(rest_[i])) ++i;
    size_t j = i;
    while (j < rest_.size() && !isBlank(rest_[j])) ++j;
    const std::string_view word = rest_.substr(i, j - i);
    rest_.remove_prefix(j);
    return word;
  }
  // What follows the last word returned.
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool hasPrefix(std::string_view word, const char* keyword, size_t count) {
  return word.size() >= count && std::strncmp(word.data(), keyword, count) == 0;
}

// The decimal value of a word (its leading digits after an optional sign).
int64_t wordValue64(std::string_view word) {
  char buffer[32];
  const size_t length = std::min(word.size(), sizeof buffer - 1);
  std::memcpy(buffer, word.data(), length);
  buffer[length] = '\0';
  return parseInteger(buffer);
}

// The same, saturated to 32 bits.
int32_t wordValue(std::string_view word) {
  return int32_t(std::clamp<int64_t>(wordValue64(word), INT32_MIN, INT32_MAX));
}

int32_t timeValue(std::string_view word) { return std::max(wordValue(word), 0); }

// Plays a legal move on the root stack and keeps the history short: the records before an
// irreversible move are dropped, and so is the oldest record beyond HISTORY_LIMIT.
void playRootMove(board::Position& pos, board::Move move) {
  board::makeMove(pos, move);
  const bool irreversible = (move & board::MOVE_CAPTURE) || board::movePiece(move) == board::PAWN;
  if (irreversible) {
    pos.states[0] = board::currentState(pos);
    pos.current = pos.states.data();
  } else if (board::stackIndex(pos) >= HISTORY_LIMIT) {
    std::memmove(&pos.states[0], &pos.states[1],
                 sizeof(board::BoardState) * size_t(board::stackIndex(pos)));
    --pos.current;
  }
}

void setRootCheckFlag(board::Position& pos) {
  board::BoardState& state = board::currentState(pos);
  if (board::inCheck(pos))
    state.flags |= board::FLAG_IN_CHECK;
  else
    state.flags &= uint8_t(~board::FLAG_IN_CHECK);
}

void setupStartPosition(board::Position& pos) {
  board::setupFromFen(pos, board::START_FEN);
  board::chess960 |= engineSettings.chess960 != 0;
  search::searchLimits.movesPlayed = 0;
  search::searchLimits.moveNumber = 1;
  rootPositionSet = true;
}

}  // namespace

board::Move legalMoveFromText(board::Position& pos, const char* text, int length) {
  if (length != 4 && length != 5) return 0;
  char word[6] = {};
  std::memcpy(word, text, size_t(length));
  if (length == 5 && word[4] >= 'A' && word[4] <= 'Z') word[4] = char(word[4] - 'A' + 'a');
  auto isFile = [](char c) { return c >= 'a' && c <= 'h'; };
  auto isRank = [](char c) { return c >= '1' && c <= '8'; };
  if (!isFile(word[0]) || !isRank(word[1]) || !isFile(word[2]) || !isRank(word[3])) return 0;
  if (length == 5 && !std::strchr("qrbn", word[4])) return 0;
  const board::Move wanted = board::withoutCheck(board::textToMove(pos, word));
  if (!wanted) return 0;
  board::Move legal[board::MAX_MOVES];
  const board::Move* end = board::generateLegalMoves(pos, legal);
  const bool black = board::blackToMove(board::currentState(pos));
  for (const board::Move* m = legal; m != end; ++m) {
    if (board::withoutCheck(*m) != wanted) continue;
    // The text must be exactly the move's own text ("e7e8x" or a missing letter is no move).
    char own[8];
    board::moveToText(*m, black, own);
    return std::strcmp(own, word) == 0 ? *m : 0;
  }
  return 0;
}

bool setupPositionLine(board::Position& pos, const char* line, int32_t& movesPlayed, int32_t* moveNumber) {
  const std::string_view text(line);
  if (!hasPrefix(text, "position", 8)) return false;
  Words words(text.substr(8));
  const std::string_view kind = words.next();
  if (kind.empty()) return false;

  // The move list follows the first word "moves" after the kind (the FEN holds no such word).
  std::string_view afterKind = words.rest();
  std::string_view moveList;
  for (size_t at = afterKind.find("moves"); at != std::string_view::npos;
       at = afterKind.find("moves", at + 1)) {
    const bool wordStart = at == 0 || isBlank(afterKind[at - 1]);
    const bool wordEnd = at + 5 == afterKind.size() || isBlank(afterKind[at + 5]);
    if (wordStart && wordEnd) {
      moveList = afterKind.substr(at + 5);
      afterKind = afterKind.substr(0, at);
      break;
    }
  }

  std::string_view fen = board::START_FEN;
  if (hasPrefix(kind, "fen", 3)) {
    fen = trimmed(afterKind);
    if (fen.empty()) return false;
  }
  if (!board::setupFromFen(pos, fen)) return false;
  board::chess960 |= engineSettings.chess960 != 0;  // a Chess960 position is one whatever the option says
  const int blackFirst = board::blackToMove(board::currentState(pos)) ? 1 : 0;

  int played = 0;
  Words moves(moveList);
  for (std::string_view word = moves.next(); !word.empty(); word = moves.next()) {
    const board::Move move = legalMoveFromText(pos, word.data(), int(word.size()));
    if (!move) break;
    playRootMove(pos, move);
    ++played;
  }
  movesPlayed = played / 2;
  if (moveNumber) *moveNumber = board::fenMoveNumber + (played + blackFirst) / 2;
  setRootCheckFlag(pos);
  return true;
}

void parseGo(const char* line, board::Position& pos, search::SearchLimits& limits) {
  limits.movesToGo = 0;
  limits.timeMs = 0;
  limits.incrementMs = 0;
  limits.depthLimit = 64;
  limits.nodeLimit = 0;
  limits.mateLimit = 0;
  limits.clockGiven = false;
  limits.rootMoveCount = 0;
  limits.pondering = 0;
  limits.infinite = false;
  limits.stopRequested = 0;
  limits.singleRootMove = 0;

  const bool white = !board::blackToMove(board::currentState(pos));
  Words words(line);
  for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
    // A keyword that takes a value and ends the line has no effect.
    Words lookahead(words.rest());
    const std::string_view value = lookahead.next();
    const bool hasValue = !value.empty();
    // Keywords of the side not to move consume nothing: their value word is read as a word of its
    // own (and matches no keyword).
    auto clockKeyword = [&](bool ownSide, int32_t& field) {
      if (!hasValue) return;
      limits.clockGiven = true;
      if (!ownSide) return;
      field = timeValue(value);
      words.next();
    };
    if (hasPrefix(word, "ponder", 6)) {
      limits.pondering = 1;
    } else if (hasPrefix(word, "wtime", 5)) {
      clockKeyword(white, limits.timeMs);
    } else if (hasPrefix(word, "btime", 5)) {
      clockKeyword(!white, limits.timeMs);
    } else if (hasPrefix(word, "winc", 4)) {
      clockKeyword(white, limits.incrementMs);
    } else if (hasPrefix(word, "binc", 4)) {
      clockKeyword(!white, limits.incrementMs);
    } else if (hasPrefix(word, "movestogo", 9)) {
      clockKeyword(true, limits.movesToGo);
    } else if (hasPrefix(word, "depth", 5)) {
      if (hasValue) limits.depthLimit = std::clamp(wordValue(words.next()), 1, search::MAX_PLY);
    } else if (hasPrefix(word, "movetime", 8)) {
      if (hasValue) limits.movesToGo = 1;
      clockKeyword(true, limits.timeMs);
    } else if (hasPrefix(word, "infinite", 8)) {
      limits.pondering = 1;
      limits.infinite = true;
    } else if (hasPrefix(word, "nodes", 5)) {
      // 0 or a negative count sets no limit.
      if (hasValue) limits.nodeLimit = uint64_t(std::max<int64_t>(wordValue64(words.next()), 0));
    } else if (hasPrefix(word, "mate", 4)) {
      if (hasValue) limits.mateLimit = std::max(wordValue(words.next()), 0);
    } else if (hasPrefix(word, "searchmoves", 11)) {
      // Every remaining word names a root move; words that are not legal moves, and repeats, are
      // skipped.
      for (std::string_view text = words.next(); !text.empty(); text = words.next()) {
        const board::Move move = legalMoveFromText(pos, text.data(), int(text.size()));
        board::Move* end = limits.rootMoves.data() + limits.rootMoveCount;
        if (move && std::find(limits.rootMoves.data(), end, move) == end)
          limits.rootMoves[size_t(limits.rootMoveCount++)] = move;
      }
    }
  }
  if (limits.rootMoveCount == 0) {
    const board::Move* end = board::generateLegalMoves(pos, limits.rootMoves.data());
    limits.rootMoveCount = int(end - limits.rootMoves.data());
  }
}

void handlePosition(const char* line) {
  search::stopSearch();
  if (!hashAllocated()) newGame();
  int32_t movesPlayed = 0, moveNumber = 1;
  if (setupPositionLine(search::rootPosition(), line, movesPlayed, &moveNumber)) {
    search::searchLimits.movesPlayed = movesPlayed;
    search::searchLimits.moveNumber = moveNumber;
    rootPositionSet = true;
  } else if (!rootPositionSet) {
    setupStartPosition(search::rootPosition());
  }
}

void handleGo(const char* line) {
  const int64_t arrivalMs = platform::nowMs();  // the move's clock starts now
  search::stopSearch();
  if (!hashAllocated()) newGame();
  applyPendingClearHash();
  if (!rootPositionSet) setupStartPosition(search::rootPosition());

  search::SearchLimits& limits = search::searchLimits;
  parseGo(line, search::rootPosition(), limits);
  limits.startMs = arrivalMs;
  limits.silent = false;  // a "go" of the protocol always prints its search
  limits.drawScore = engineSettings.drawScore;
  limits.strength = engineSettings.strength;
  limits.threads = std::clamp(engineSettings.threads, 1, search::MAX_THREADS);
  limits.multiPv = engineSettings.multiPv;
  limits.minSplitDepth = minSplitDepth;
  limits.syzygyProbeLimit = engineSettings.syzygyProbeLimit;
  limits.syzygyProbeDepth = engineSettings.syzygyProbeDepth;
  limits.syzygy50MoveRule = engineSettings.syzygy50MoveRule != 0;
  limits.showWdl = engineSettings.showWdl != 0;
  limits.analyseMode = engineSettings.analyseMode != 0;
  limits.moveOverheadMs = engineSettings.moveOverheadMs;
  // A strength level weakens play, never analysis: not "go infinite", "go nodes", "go mate" or MultiPV.
  // It replaces the Strength option and searches with one thread, so every Threads setting meets the
  // same opponent.
  limits.levelNodes = 0;
  limits.levelNoise = 0;
  if (engineSettings.limitStrength && !limits.infinite && limits.nodeLimit == 0 && limits.mateLimit == 0 &&
      limits.multiPv == 1) {
    const search::StrengthLevel level = search::levelForElo(engineSettings.uciElo);
    limits.levelNodes = level.nodes;
    limits.levelNoise = level.noise;
    limits.strength = 100;
    limits.threads = 1;
  }
  limits.alwaysBestBookMove = engineSettings.alwaysBestBookMove != 0;
  // The log file is open exactly when Log was set at the last new game.
  limits.logEnabled = platform::logIsOpen();
  if (limits.logEnabled) {
    const int length = int(std::strlen(line));
    platform::logWrite(line, length);
    if (length == 0 || line[length - 1] != '\n') platform::logWrite("\n", 1);
  }
  search::startSearch();
}

}  // namespace uci

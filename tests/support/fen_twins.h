#pragma once
// The colour-exchanged twin of a FEN: ranks in reverse order, colours, side to move, castling rights
// and the en-passant rank swapped. Missing clock fields read as "0 1".
#include <cctype>
#include <sstream>
#include <string>

namespace testsupport {

inline std::string flipColours(const std::string& fen) {
  std::istringstream in(fen);
  std::string placement, side, castling = "-", ep = "-", halfmove = "0", fullmove = "1";
  in >> placement >> side >> castling >> ep >> halfmove >> fullmove;
  const auto swapCase = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) ? char(c ^ 0x20) : c; };
  std::string flipped;
  for (size_t end = placement.size(), slash; end != std::string::npos; end = slash) {
    slash = placement.rfind('/', end - 1);
    const size_t begin = slash == std::string::npos ? 0 : slash + 1;
    for (size_t i = begin; i < end; ++i) flipped += swapCase(placement[i]);
    if (slash != std::string::npos) flipped += '/';
  }
  std::string rights;
  for (char c : std::string("KQkq"))
    if (castling.find(swapCase(c)) != std::string::npos) rights += c;
  if (ep.size() == 2) ep[1] = ep[1] == '3' ? '6' : '3';
  return flipped + ' ' + (side == "w" ? "b" : "w") + ' ' + (rights.empty() ? "-" : rights) + ' ' + ep + ' ' +
         halfmove + ' ' + fullmove;
}

}  // namespace testsupport

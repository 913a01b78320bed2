// Placeholder until the book reader lands: never a book move.
#include "book/book.h"

namespace book {

bool openBook(const char*) { return false; }
void closeBook() {}
bool bookIsOpen() { return false; }
uint64_t polyglotKey(board::Position&) { return 0; }
board::Move bookProbe(board::Position&, bool, const board::Move*, int) { return 0; }

}  // namespace book

// New game: search tables, hash allocation, tablebase registration, book and log files.
#include <algorithm>
#include <cstdlib>

#include "book/book.h"
#include "eval/pawn_cache.h"
#include "platform/log_file.h"
#include "platform/output.h"
#include "search/driver.h"
#include "search/thread.h"
#include "search/tt.h"
#include "tablebase/tablebase.h"
#include "uci/commands.h"
#include "uci/options.h"

namespace uci {

namespace {

constexpr const char* LOG_PATH = "./Tesmar.log";

// The tablebases are registered by the first new game of the process only.
bool tablebasesReady = false;

// A "Clear Hash" that arrived during a search, to be done before the next one.
bool clearHashPending = false;

void clearKillers(bool withHistory) {
  const int threads = std::clamp(engineSettings.threads, 1, search::MAX_THREADS);
  for (int i = 0; i < threads; ++i) {
    search::SearchThread& thread = search::searchThreads[size_t(i)];
    for (auto& plyKillers : thread.killers) plyKillers = {0, 0};
    if (withHistory)
      for (auto& bucket : thread.history) bucket.fill(0);
  }
}

void clearTablesNow() {
  clearKillers(true);
  search::ttClear(search::tt);
}

}  // namespace

void clearHash() {
  if (search::searchThreads[0].handle.joinable())
    clearHashPending = true;  // the running search keeps its tables
  else
    clearTablesNow();
}

void applyPendingClearHash() {
  if (!clearHashPending) return;
  clearHashPending = false;
  clearTablesNow();
}

void newGame() {
  // The hash memory is about to be released: no search may still be using it.
  search::stopSearch();
  clearHashPending = false;  // everything below is cleared anyway

  clearKillers(false);

  // Sets the age to 0, releases the old block, then allocates and zero-fills the new one.
  if (!search::ttAllocate(search::tt, eval::pawnCache, engineSettings.hashMb)) {
    platform::printLine("TT allocation error\n");
    platform::flushOut();
    std::_Exit(1);
  }

  if (!tablebasesReady) {
    tb::initTablebases(engineSettings.syzygyPath.data());
    tablebasesReady = true;
  }

  book::closeBook();
  if (engineSettings.ownBook) book::openBook(engineSettings.bookFile.data());

  platform::logClose();
  if (engineSettings.logEnabled) platform::logOpen(LOG_PATH);
}

void releaseResources() {
  book::closeBook();
  platform::logClose();
  search::ttRelease(search::tt, eval::pawnCache);
}

bool hashAllocated() { return search::tt.entries != nullptr; }

}  // namespace uci

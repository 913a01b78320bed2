#pragma once
// Starting, stopping and joining the search thread (thread 0 runs the driver).
namespace search {

// Starts search thread 0 with the driver on the root position and searchLimits; returns at once.
void startSearch();
// Joins the search thread if one was started and has not been joined.
void waitForSearch();
// Sets stopRequested and joins the search thread.
void stopSearch();
// "ponderhit": stops at once when past the soft deadline or with a single root move, else clears
// pondering.
void ponderHit();

}  // namespace search

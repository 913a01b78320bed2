// Placeholder until the search lands.
#include "search/driver.h"

namespace search {

void startSearch() {}
void waitForSearch() {}
void stopSearch() {}
void ponderHit() {}

}  // namespace search

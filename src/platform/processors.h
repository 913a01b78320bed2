#pragma once
// Which processor a thread runs on, and moving it to another. Two search threads that wake each
// other tend to be put on the waker's processor; when every processor is busy (another program
// runs) the scheduler then sees no imbalance worth a move, and the pair shares one processor while
// the other program has one to itself.
#include <cstdint>

namespace platform {

// The processor the calling thread runs on right now, or -1 where the system cannot tell.
int currentProcessor();

// Moves the calling thread to a processor that its affinity allows and that `avoid` does not name
// (bit i: processor i; processors from 64 on are never avoided), then gives the thread its affinity
// back as it was, so that the scheduler stays free to move it later. False when there is no such
// processor or the system refuses.
bool moveToOtherProcessor(uint64_t avoid);

}  // namespace platform

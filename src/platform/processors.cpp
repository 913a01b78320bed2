#include "platform/processors.h"

#if defined(__linux__)
#include <pthread.h>
#include <sched.h>
#endif

namespace platform {

#if defined(__linux__)

int currentProcessor() { return sched_getcpu(); }

bool moveToOtherProcessor(uint64_t avoid) {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (pthread_getaffinity_np(pthread_self(), sizeof allowed, &allowed) != 0) return false;
  const int here = sched_getcpu();
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (cpu == here || !CPU_ISSET(cpu, &allowed) || (cpu < 64 && ((avoid >> cpu) & 1))) continue;
    cpu_set_t target;
    CPU_ZERO(&target);
    CPU_SET(cpu, &target);
    // Narrowing the affinity to one processor moves a running thread there before the call
    // returns; widening it again moves nothing.
    if (pthread_setaffinity_np(pthread_self(), sizeof target, &target) != 0) return false;
    pthread_setaffinity_np(pthread_self(), sizeof allowed, &allowed);
    return true;
  }
  return false;
}

#else

int currentProcessor() { return -1; }
bool moveToOtherProcessor(uint64_t) { return false; }

#endif

}  // namespace platform

// The host's own clocks and sleep, reached past the time functions that the
// clock preload puts in front of the program (the bench and the preload itself
// must not see the modelled clock they make). Used by bench.cpp and the
// clock preload.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

namespace vt {
namespace host {

int clock_gettime(clockid_t id, timespec* ts);
int gettimeofday(timeval* tv, void* tz);
int nanosleep(const timespec* want, timespec* rest);
int clock_nanosleep(clockid_t id, int flags, const timespec* want, timespec* rest);

// CLOCK_MONOTONIC in nanoseconds.
uint64_t monotonic_ns();
// Sleeps (and for the last stretch spins) until CLOCK_MONOTONIC reaches `t_ns`.
void wait_until_ns(uint64_t t_ns);

}  // namespace host
}  // namespace vt

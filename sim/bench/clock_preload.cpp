// LD_PRELOAD library of the virtual target: the program's time functions
// (clock_gettime, gettimeofday, time) read the bench's modelled clock, so that
// what the program measures of the emulated ports is what the chip is charged;
// its sleeps (nanosleep, clock_nanosleep, usleep, sleep) are taken on that
// clock at once in the deterministic mode and for real otherwise. Clocks the
// bench does not model (CPU time) and calls made before the program's
// libraries are set up go to the host.
#include <errno.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>

#include "sim/bench/bench.h"
#include "sim/bench/host_clock.h"

namespace {

// Set once this library's constructor has run: the bench and the C++ runtime are usable.
bool ready = false;

__attribute__((constructor)) void on_load() { ready = true; }

uint64_t to_ns(const timespec& t) { return uint64_t(t.tv_sec) * 1000000000u + uint64_t(t.tv_nsec); }

timespec to_timespec(uint64_t ns) { return timespec{time_t(ns / 1000000000u), long(ns % 1000000000u)}; }

bool valid(const timespec* t) { return t && t->tv_sec >= 0 && t->tv_nsec >= 0 && t->tv_nsec < 1000000000; }

bool modelled_now(clockid_t id, timespec& ts) { return ready && vt::bench::client_time(id, ts); }

// A relative sleep of `ns`: on the modelled clock, or for real (0 or the errno of an interrupted sleep).
int sleep_for(uint64_t ns, timespec* rest) {
  if (ready && vt::bench::client_sleep(ns)) {
    if (rest) *rest = timespec{0, 0};
    return 0;
  }
  const timespec want = to_timespec(ns);
  return vt::host::clock_nanosleep(CLOCK_MONOTONIC, 0, &want, rest);
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t id, struct timespec* ts) noexcept {
  if (modelled_now(id, *ts)) return 0;
  return vt::host::clock_gettime(id, ts);
}

int gettimeofday(struct timeval* tv, void* tz) noexcept {
  timespec ts;
  if (!modelled_now(CLOCK_REALTIME, ts)) return vt::host::gettimeofday(tv, tz);
  if (tz) {
    timeval ignored;
    vt::host::gettimeofday(&ignored, tz);
  }
  tv->tv_sec = ts.tv_sec;
  tv->tv_usec = suseconds_t(ts.tv_nsec / 1000);
  return 0;
}

time_t time(time_t* out) noexcept {
  timespec ts;
  if (!modelled_now(CLOCK_REALTIME, ts)) vt::host::clock_gettime(CLOCK_REALTIME, &ts);
  if (out) *out = ts.tv_sec;
  return ts.tv_sec;
}

int nanosleep(const struct timespec* want, struct timespec* rest) {
  if (!valid(want)) return vt::host::nanosleep(want, rest);
  const int e = sleep_for(to_ns(*want), rest);
  if (e == 0) return 0;
  errno = e;
  return -1;
}

int clock_nanosleep(clockid_t id, int flags, const struct timespec* want, struct timespec* rest) {
  timespec now;
  if (!valid(want) || !modelled_now(id, now)) return vt::host::clock_nanosleep(id, flags, want, rest);
  if (!(flags & TIMER_ABSTIME)) return sleep_for(to_ns(*want), rest);
  // A deadline on the modelled clock: sleep what is left of it.
  const uint64_t until = to_ns(*want), at = to_ns(now);
  return until > at ? sleep_for(until - at, nullptr) : 0;
}

int usleep(useconds_t us) {
  const int e = sleep_for(uint64_t(us) * 1000u, nullptr);
  if (e == 0) return 0;
  errno = e;
  return -1;
}

unsigned int sleep(unsigned int seconds) {
  timespec rest{0, 0};
  sleep_for(uint64_t(seconds) * 1000000000u, &rest);
  return unsigned(rest.tv_sec + (rest.tv_nsec > 0 ? 1 : 0));
}

}  // extern "C"

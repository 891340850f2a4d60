// The C library's own time functions, looked up in the C library itself: a
// plain call could land in the clock preload's versions of them.
#include "sim/bench/host_clock.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vt {
namespace host {
namespace {

struct functions {
  int (*clock_gettime)(clockid_t, timespec*) = nullptr;
  int (*gettimeofday)(timeval*, void*) = nullptr;
  int (*nanosleep)(const timespec*, timespec*) = nullptr;
  int (*clock_nanosleep)(clockid_t, int, const timespec*, timespec*) = nullptr;
};

template <typename F>
void find(void* libc, const char* name, F& f) {
  void* p = libc ? dlsym(libc, name) : nullptr;
  if (!p) p = dlsym(RTLD_NEXT, name);
  f = reinterpret_cast<F>(p);
}

const functions& libc() {
  static const functions f = [] {
    functions r;
    void* c = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    find(c, "clock_gettime", r.clock_gettime);
    find(c, "gettimeofday", r.gettimeofday);
    find(c, "nanosleep", r.nanosleep);
    find(c, "clock_nanosleep", r.clock_nanosleep);
    return r;
  }();
  return f;
}

}  // namespace

int clock_gettime(clockid_t id, timespec* ts) {
  if (libc().clock_gettime) return libc().clock_gettime(id, ts);
  return int(syscall(SYS_clock_gettime, id, ts));
}

int gettimeofday(timeval* tv, void* tz) {
  if (libc().gettimeofday) return libc().gettimeofday(tv, tz);
  return int(syscall(SYS_gettimeofday, tv, tz));
}

int nanosleep(const timespec* want, timespec* rest) {
  if (libc().nanosleep) return libc().nanosleep(want, rest);
  return int(syscall(SYS_nanosleep, want, rest));
}

int clock_nanosleep(clockid_t id, int flags, const timespec* want, timespec* rest) {
  if (libc().clock_nanosleep) return libc().clock_nanosleep(id, flags, want, rest);
  return int(syscall(SYS_clock_nanosleep, id, flags, want, rest));
}

uint64_t monotonic_ns() {
  timespec ts;
  host::clock_gettime(CLOCK_MONOTONIC, &ts);
  return uint64_t(ts.tv_sec) * 1000000000u + uint64_t(ts.tv_nsec);
}

void wait_until_ns(uint64_t t_ns) {
  for (;;) {
    const uint64_t now = monotonic_ns();
    if (now >= t_ns) return;
    // A sleep overshoots by the timer slack; spin through the last 200 us.
    const uint64_t left = t_ns - now;
    if (left > 200000) {
      const uint64_t ns = left - 100000;
      timespec ts{time_t(ns / 1000000000u), long(ns % 1000000000u)};
      host::nanosleep(&ts, nullptr);
    }
  }
}

}  // namespace host
}  // namespace vt

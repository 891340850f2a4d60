// Where every timer reads the time and sleeps: the wall clock with microsecond
// resolution (gettimeofday) and nanosleep. Abstract so it can be mocked out
// for tests; the program itself only ever uses the system clock.
#pragma once

#include <cstdint>
#include <ctime>

struct time_value {
  int32_t sec = 0;
  int32_t usec = 0;
};

class clock_source {
 public:
  virtual ~clock_source();
  virtual time_value now() = 0;
  // One sleep of `want`; false when a signal ended it early, with what was left in `rest`.
  virtual bool sleep(const timespec& want, timespec& rest) = 0;
};

// gettimeofday and nanosleep.
clock_source& system_clock();

// The clock of every timer: system_clock() unless a test puts another one in.
extern clock_source* timer_clock;

// A clock for the timers of the code under test that moves only when told:
// sleeps pass at once, and fake ports and adapters advance it by what their
// accesses would take. Nothing in a test then waits for, or races, the host.
#pragma once

#include <cstdint>

#include "driver/clock_source.h"

class fake_clock : public clock_source {
 public:
  time_value now() override {
    const uint64_t us = ns / 1000;
    return {static_cast<int32_t>(us / 1000000), static_cast<int32_t>(us % 1000000)};
  }
  bool sleep(const timespec& want, timespec&) override {
    advance_ns(uint64_t(want.tv_sec) * 1000000000u + uint64_t(want.tv_nsec));
    return true;
  }
  void advance_ns(uint64_t d) { ns += d; }
  uint64_t ns = 1000000000000u;
};

// Puts a clock under every timer while it exists.
class clock_in_use {
 public:
  explicit clock_in_use(clock_source& c) : saved(timer_clock) { timer_clock = &c; }
  ~clock_in_use() { timer_clock = saved; }
  clock_in_use(const clock_in_use&) = delete;
  clock_in_use& operator=(const clock_in_use&) = delete;

 private:
  clock_source* saved;
};

// One fake clock for a whole test program that includes this header: set up
// before the first test, so every timer in it runs on the fake clock.
inline fake_clock& test_clock() {
  static fake_clock clock;
  return clock;
}
inline const clock_in_use test_clock_in_use{test_clock()};

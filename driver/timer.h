// Stopwatch and one-shot delay on the wall clock (microseconds), plus the
// auto-scaled formatting of times and frequencies. Used by every wait and
// every "done (time)" in the program.
#pragma once

#include <cstdint>

#include "driver/clock_source.h"

class timer {
 public:
  virtual ~timer();

  void start();
  void stop();
  double elapsed_ms() const;

  void set_delay_ms(float ms);
  bool delay_passed() const;
  void sleep_delay();  // sleeps the whole delay, resuming after signals

  bool running = false;
  time_value accumulated;
  time_value started;
  time_value marked;
  time_value delay;
};

// The process-wide timer of memory operations.
extern timer operation_timer;

// value is in unit_table[unit_index]; buffer null means one shared static buffer of 128 chars.
const char* format_scaled(double value, int unit_index, int highest_index, const char* const* unit_table,
                          char* buffer);
const char* format_time(double value, int unit_index, char* buffer = nullptr);
const char* format_frequency(double value, int unit_index, char* buffer = nullptr);

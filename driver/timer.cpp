#include "driver/timer.h"

#include <cstdio>
#include <ctime>

#include "driver/process_state.h"

namespace {

time_value now() { return timer_clock->now(); }

time_value minus(time_value a, time_value b) {
  time_value d{a.sec - b.sec, a.usec - b.usec};
  if (d.usec < 0) {
    d.usec += 1000000;
    d.sec -= 1;
  }
  return d;
}

const char* const time_units[] = {"s", "ms", "us", "ns"};
const char* const frequency_units[] = {"GHz", "MHz", "kHz", "Hz"};
char shared_buffer[128];

}  // namespace

timer operation_timer;
const process_state_reset reset_operation_timer{[] { operation_timer = timer{}; }};

timer::~timer() = default;

void timer::start() {
  started = now();
  accumulated = {};
  running = true;
}

void timer::stop() {
  if (!running) return;
  time_value d = minus(now(), started);
  accumulated.sec += d.sec;
  accumulated.usec += d.usec;
  if (accumulated.usec > 999999) {
    accumulated.usec -= 1000000;
    accumulated.sec += 1;
  }
  running = false;
}

double timer::elapsed_ms() const {
  double sec = accumulated.sec;
  double usec = accumulated.usec;
  if (running) {
    time_value d = minus(now(), started);
    sec += d.sec;
    usec += d.usec;
  }
  return sec * 1000.0 + usec / 1000.0;
}

void timer::set_delay_ms(float ms) {
  marked = now();
  delay.sec = static_cast<int32_t>(ms / 1000);
  delay.usec = static_cast<int32_t>((ms - delay.sec * 1000.0f) * 1000);
}

bool timer::delay_passed() const {
  time_value d = minus(now(), marked);
  if (d.sec != delay.sec) return d.sec > delay.sec;
  return d.usec >= delay.usec;
}

void timer::sleep_delay() {
  marked = now();
  timespec want{delay.sec, static_cast<long>(delay.usec) * 1000};
  timespec rest{};
  while (!timer_clock->sleep(want, rest)) want = rest;
}

const char* format_scaled(double value, int unit_index, int highest_index, const char* const* unit_table,
                          char* buffer) {
  if (buffer == nullptr) buffer = shared_buffer;
  int index = unit_index;
  double v = value;
  while (index > 0 && v > 300) {
    v *= 0.001;
    --index;
  }
  if (v <= 0.3) {
    while (index < highest_index && v <= 0.3) {
      v *= 1000;
      ++index;
    }
  }
  const char* format = v < 0.003 ? "%.6f%s" : v < 0.03 ? "%.4f%s" : v < 0.3 ? "%.3f%s"
                     : v < 3     ? "%.2f%s" : v < 30   ? "%.1f%s" : "%.0f%s";
  snprintf(buffer, 128, format, v, unit_table[index]);
  return buffer;
}

const char* format_time(double value, int unit_index, char* buffer) {
  return format_scaled(value, unit_index, 3, time_units, buffer);
}

const char* format_frequency(double value, int unit_index, char* buffer) {
  return format_scaled(value, unit_index, 3, frequency_units, buffer);
}

#include "lpt/lpt_port.h"

#include <cmath>

#include "driver/messages.h"
#include "driver/timer.h"

lpt_port::~lpt_port() = default;

void lpt_port::release() {}

namespace {

const float min_cycle_time = 0.2f;

double smallest_burst(lpt_port& port, const uint8_t* buffer, uint32_t count) {
  timer t;
  double smallest = 1000.0;
  for (int run = 0; run < 100; ++run) {
    t.start();
    port.write_block(buffer, count);
    t.stop();
    const double ms = t.elapsed_ms();
    if (ms < smallest) smallest = ms;
  }
  return smallest;
}

}  // namespace

void lpt_port::measure_cycle_time() {
  direction_control = false;
  write(lpt_control, read(lpt_control) & ~0x10);  // interrupts off
  uint8_t buffer[100];
  const uint8_t data = read(lpt_data);  // the bursts repeat the current data lines
  for (uint8_t& b : buffer) b = data;
  const double t100 = smallest_burst(*this, buffer, 100);
  const double t4 = smallest_burst(*this, buffer, 4);
  cycle_time = static_cast<float>((t100 - t4) * 1000.0 / 96.0);
  if (cycle_time < min_cycle_time) {
    report(1, "Warning: incredibly fast LPT found, min write cycle time %s\n", format_time(cycle_time, 2));
    report(1, "Cycle time forced to %.2fus\n", min_cycle_time);
    cycle_time = min_cycle_time;
  }
}

uint32_t lpt_base_address(int number) {
  switch (number) {
    case 1:
      return 0x378;
    case 2:
      return 0x278;
    case 3:
      return 0x3BC;
    default:
      return 0;
  }
}

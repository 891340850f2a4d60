// A parallel port in memory: every register write goes to a log (bursts byte by byte), reads return
// the registers, and each access takes its cycle time on the test clock.
#pragma once

#include <cstdint>
#include <vector>

#include "lpt/lpt_port.h"
#include "tests/support/fake_clock.h"

struct port_event {
  uint8_t reg;
  uint8_t value;
  bool burst;  // part of write_block
  bool operator==(const port_event& o) const { return reg == o.reg && value == o.value && burst == o.burst; }
};

class fake_lpt_port : public lpt_port {
 public:
  explicit fake_lpt_port(float cycle, uint8_t data = 0, uint8_t control = 0) : data_reg(data), control_reg(control) {
    cycle_time = cycle;
  }
  uint8_t read(uint8_t reg) override {
    access(1);
    return reg == lpt_data ? data_reg : reg == lpt_control ? control_reg : 0;
  }
  void write(uint8_t reg, uint8_t value) override {
    access(1);
    events.push_back({reg, value, false});
    (reg == lpt_data ? data_reg : control_reg) = value;
  }
  void write_block(const uint8_t* bytes, uint32_t count) override {
    for (uint32_t i = 0; i < count; ++i) events.push_back({lpt_data, bytes[i], true});
    if (count > 0) data_reg = bytes[count - 1];
    if (fixed_burst_us > 0) test_clock().advance_ns(uint64_t(fixed_burst_us) * 1000);
    else access(count);
  }
  std::vector<uint8_t> data_writes() const {
    std::vector<uint8_t> out;
    for (const port_event& e : events)
      if (e.reg == lpt_data) out.push_back(e.value);
    return out;
  }

  int fixed_burst_us = 0;  // a burst of any length takes this long: an infinitely fast port
  std::vector<port_event> events;
  uint8_t data_reg;
  uint8_t control_reg;

 private:
  void access(uint32_t n) { test_clock().advance_ns(uint64_t(double(cycle_time) * 1000.0 * n)); }
};

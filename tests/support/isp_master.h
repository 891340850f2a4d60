// A test's own bit-banging ISP master: drives a line_target pin by pin in
// modelled time, SPI mode 0, most significant bit first.
#pragma once

#include <array>
#include <cstdint>

#include "sim/chip/line_target.h"

namespace vt_test {

struct isp_master {
  explicit isp_master(vt::line_target& target) : chip(target) {}

  vt::line_target& chip;
  vt::target_lines lines;
  uint64_t t = 0;
  uint64_t half_ns = 5000;     // SCK half period
  bool xtal_per_step = false;  // six XTAL edges within every step that takes time

  void step(uint64_t ns) {
    for (int i = 0; xtal_per_step && ns && i < 6; ++i) {
      lines.xtal = !lines.xtal;
      t += ns / 8;
      chip.drive(t, lines);
    }
    t += ns;
    chip.drive(t, lines);
  }
  void power_up() {
    lines.powered = lines.reset = true;
    lines.sck = false;
    step(100000);
    lines.reset = false;
    step(100000);
  }
  void reset_pulse(uint64_t ns = 50000) {
    lines.reset = true;
    step(ns);
    lines.reset = false;
    step(ns);
  }
  void sck_pulse() {
    lines.mosi = false;
    for (bool level : {false, true, false}) {
      lines.sck = level;
      step(half_ns);
    }
  }
  // Each line change reaches the chip at once (step(0)), then holds for half a period.
  uint8_t byte(uint8_t out) {
    uint8_t in = 0;
    for (int i = 7; i >= 0; --i) {
      lines.mosi = (out >> i) & 1;
      step(0);
      step(half_ns);
      lines.sck = true;
      step(0);
      step(half_ns);
      in = uint8_t((in << 1) | (chip.miso(t) ? 1 : 0));
      lines.sck = false;
      step(0);
    }
    return in;
  }
  std::array<uint8_t, 4> cmd(uint8_t a, uint8_t b, uint8_t c, uint8_t d) { return {byte(a), byte(b), byte(c), byte(d)}; }
  uint8_t enable() { return cmd(0xAC, 0x53, 0x00, 0x00)[2]; }
};

}  // namespace vt_test

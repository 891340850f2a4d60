// The emulated parallel port.
#include "sim/lpt/port.h"

#include <cstdio>
#include <cstdlib>

namespace vt {

emulated_port& emulated_port::instance() {
  static emulated_port* p = new emulated_port;  // used until exit, also from the bench's exit trace
  return *p;
}

emulated_port::emulated_port() {
  const bench_config& c = bench::config();
  std::string error;
  if (!wiring_.configure(c.wiring, c.wiring_map, error)) {
    std::fprintf(stderr, "vtarget: %s\n", error.c_str());
    std::_Exit(121);
  }
  cycle_ns_ = uint64_t(c.lpt_cycle_us * 1000.0 + 0.5);
  update();
}

void emulated_port::tick() { bench::advance_ns(cycle_ns_); }

void emulated_port::update() { bench::set_adapter_lines(wiring_.outputs(data_, control_)); }

uint8_t emulated_port::read_data() {
  tick();
  // In input mode nothing drives the data lines: they read high.
  return (control_ & 0x20) ? 0xFF : data_;
}

uint8_t emulated_port::read_status() {
  tick();
  return wiring_.status(data_, control_, bench::miso(), bench::key_pressed());
}

uint8_t emulated_port::read_control_raw() {
  tick();
  return uint8_t(0xC0 | (control_ & 0x3F));
}

uint8_t emulated_port::read_control_ppdev() {
  tick();
  return control_ & 0x0F;
}

void emulated_port::write_data(uint8_t v) {
  tick();
  data_ = v;
  update();
}

void emulated_port::write_control(uint8_t v) {
  tick();
  control_ = v;
  update();
}

void emulated_port::write_control_ppdev(uint8_t v) {
  tick();
  if (v & 0x20) control_ |= 0x20;
  control_ = uint8_t((control_ & ~0x0F) | (v & 0x0F));
  update();
}

void emulated_port::frob_control(uint8_t mask, uint8_t val) {
  tick();
  if (mask & 0x20) control_ = uint8_t((val & 0x20) ? control_ | 0x20 : control_ & ~0x20);
  mask &= 0x0F;
  control_ = uint8_t((control_ & ~mask) | (val & mask));
  update();
}

void emulated_port::set_data_input(bool input) {
  tick();
  control_ = uint8_t(input ? control_ | 0x20 : control_ & ~0x20);
  update();
}

}  // namespace vt

// The emulated parallel port: its three registers as a program sees them
// through ppdev or direct I/O, each access costing one modelled port cycle and
// passing the line levels through the wiring to the bench's chip.
// Used by the LD_PRELOAD library (preload.cpp).
#pragma once

#include <cstdint>

#include "sim/lpt/wiring.h"

namespace vt {

class emulated_port {
 public:
  static emulated_port& instance();  // the one port of the process, wired as the bench configuration says

  uint8_t read_data();
  uint8_t read_status();
  uint8_t read_control_raw();    // as an inb of base+2 shows it
  uint8_t read_control_ppdev();  // as the kernel returns it: the four line bits
  void write_data(uint8_t v);
  void write_control(uint8_t v);  // all bits (direct I/O)
  // The kernel's way (parport_pc): the four line bits; a direction bit (0x20)
  // in the value turns the data lines to input, and only PPDATADIR turns them back.
  void write_control_ppdev(uint8_t v);
  // PPFCONTROL: the four line bits under the mask; the direction bit in the mask sets the direction.
  void frob_control(uint8_t mask, uint8_t val);
  void set_data_input(bool input);               // PPDATADIR: the data lines to input (reverse) or output

 private:
  emulated_port();
  void tick();
  void update();

  lpt_wiring wiring_;
  uint64_t cycle_ns_;
  uint8_t data_ = 0x00;
  uint8_t control_ = 0x0C;  // INIT high, SELECT-IN active, as the driver leaves it
};

}  // namespace vt

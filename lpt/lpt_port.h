// The PC parallel port as the bit-banged adapter sees it: three registers, a
// fast burst to the data register, and the measured cost of one port write.
// The hardware seam of the LPT adapters; ppdev_port and direct_io_port reach
// the real port, tests substitute their own.
#pragma once

#include <cstdint>

enum lpt_register : uint8_t { lpt_data = 0, lpt_status = 1, lpt_control = 2 };

class lpt_port {
 public:
  virtual ~lpt_port();
  virtual uint8_t read(uint8_t reg) = 0;
  virtual void write(uint8_t reg, uint8_t value) = 0;
  // count bytes to the data register, one port write each, back to back.
  virtual void write_block(const uint8_t* bytes, uint32_t count) = 0;
  // Gives the port back ahead of destruction where that can fail: the failure
  // is reported and thrown. Ports that cannot fail give it back when destroyed.
  virtual void release();

  float cycle_time = 0;  // microseconds per data-register write, at least 0.2
  bool direction_control = false;  // the data lines can be switched to input

  // Times bursts of 100 and 4 writes (smallest of 100 runs each) and sets
  // cycle_time from the difference; warns about and limits a too fast port.
  // Run by every port at the end of its construction.
  void measure_cycle_time();
};

// Base address of LPT1..LPT3, 0 for a number without one.
uint32_t lpt_base_address(int number);

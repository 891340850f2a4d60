// What the adapter factories need from the run settings and the chip, handed
// to them as one value so that they can be built and tested without globals.
// Filled by current_adapter_options() for the run; read by the LPT and FTDI
// factories.
#pragma once

#include <cstdint>

struct adapter_options {
  uint32_t clock_frequency = 800000;  // Hz of the target oscillator (or of SCK); 0 = generate XTAL
  bool clock_is_sck = false;
  bool outputs_off_after = false;  // -AZ
  bool power_from_data = false;    // -AP
  bool force = false;              // -!
  // The chip's shortest SCK low and high times in oscillator periods; only
  // valid when chip_known (a run that only lists ports names no chip).
  bool chip_known = false;
  int sck_low_clocks = 2;
  int sck_high_clocks = 2;
};

// How the simulated chip hangs on a parallel port: which register bits drive
// which target line (with the port's own inversions and the adapter's buffer),
// and what the status pins read back, loop-back lines included.
// Used by the emulated port (port.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/bench/bench.h"

namespace vt {

class lpt_wiring {
 public:
  // A built-in adapter ("kaldo", "stk200", "stk300", "byteblaster", "byteblastermv",
  // "byteblaster2", "xilinx"), or "map" with entries in the pin-map syntax
  // (signal=PIN[,PIN]... separated by ':'; '~' marks an inverted pin). Pins of
  // other adapters (FTDI names) are left to their emulation. False with `error` set.
  bool configure(const std::string& name, const std::string& map_text, std::string& error);

  // Target-side levels for these register values.
  adapter_lines outputs(uint8_t data, uint8_t control) const;
  // The status register for these register values, MISO level and key state.
  uint8_t status(uint8_t data, uint8_t control, bool miso, bool key) const;
  // Pin names of the map that are no parallel-port pins (left to the FTDI emulation).
  const std::vector<std::string>& foreign_pins() const { return foreign_; }

  static std::vector<std::string> names();

 private:
  // A condition on the electrical output pins: (pins & mask) == value.
  struct cond {
    uint32_t mask = 0, value = 0;
    bool defined() const { return mask != 0; }
    bool holds(uint32_t pins) const { return (pins & mask) == value; }
  };
  enum sig { s_mosi, s_miso, s_sck, s_reset, s_xtal, s_power, s_set, s_enable, s_led_error, s_led_ok, s_key, s_count };
  struct loop {
    int status_bit;      // 3..7
    bool constant;       // tied to a fixed level
    bool level;
    cond source;         // else: follows this output pin condition
  };

  bool add_entry(const std::string& entry, std::string& error);
  void add_loop_pin(int status_bit, const char* out_pin);
  void add_loop_const(int status_bit, bool level);
  static uint32_t output_pins(uint8_t data, uint8_t control);

  cond out_[s_count];
  int miso_bit_ = -1, key_bit_ = -1;
  bool miso_inv_ = false, key_inv_ = false;
  std::vector<loop> loops_;
  std::vector<std::string> foreign_;
};

}  // namespace vt

// How the simulated chip hangs on the pins of an FTDI channel: SCK, MOSI, MISO
// and RESET on the MPSSE pins ADBUS0..3 by default, or the pins that a
// `--wiring map:` names with FTDI pin names (adbusN/dbusN low byte,
// acbusN/cbusN high byte, '~' for an inverted line). Used by the FTDI channel.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/bench/bench.h"
#include "sim/ftdi/mpsse_engine.h"

namespace vt {

class ftdi_wiring {
 public:
  ftdi_wiring();

  // `wiring` and `map_text` as in the bench configuration. Entries of a map
  // whose pins are all parallel-port pins are left to that emulation; signals
  // not given FTDI pins keep their default pin when it is free. Pins that
  // `chip` does not have are not connected. False with `error` set.
  bool configure(const std::string& wiring, const std::string& map_text, ftdi_chip chip, std::string& error);

  // Target-side levels for the engine's latch and direction (an input pin
  // floats, and a floating line is pulled high).
  adapter_lines outputs(uint16_t latch, uint16_t direction) const;
  // The levels the outside drives onto the pins: MISO and the key where they
  // are wired, high (pulled up) elsewhere.
  uint16_t inputs(bool miso, bool key) const;

  // Parses an FTDI pin name; -1 when it is none.
  static int pin_bit(const std::string& name);

 private:
  enum sig { s_mosi, s_miso, s_sck, s_reset, s_xtal, s_power, s_set, s_enable, s_led_error, s_led_ok, s_key, s_count };
  struct pin {
    int bit;
    bool inverted;
  };
  bool add_entry(const std::string& entry, std::string& error);
  bool level(const std::vector<pin>& pins, uint16_t latch, uint16_t direction, bool& out) const;

  std::vector<pin> sig_[s_count];
  uint16_t present_ = 0xFFFF;  // pins the chip has
};

}  // namespace vt

// The seam between an emulated adapter (parallel port, MPSSE engine, a test's
// own driver) and whatever hangs on its target lines: the chip model, or a
// probe in a test. Levels are electrical, at the chip's pins.
#pragma once

#include <cstdint>

namespace vt {

struct target_lines {
  bool powered = false;  // supply present at the chip
  bool reset = true;     // RESET pin level (low = held in reset / programming)
  bool sck = false;
  bool mosi = false;
  bool xtal = false;     // the adapter's clock output, for a chip clocked from it
  bool driven = true;    // false: the adapter's buffer is off and the lines float
};

class line_target {
 public:
  virtual ~line_target() = default;
  // The lines took these levels at modelled time t_ns (nanoseconds since the bench started).
  virtual void drive(uint64_t t_ns, const target_lines& lines) = 0;
  // The level on MISO at modelled time t_ns; a floating MISO reads high.
  virtual bool miso(uint64_t t_ns) = 0;
};

}  // namespace vt

// The parallel port through direct processor port I/O at its base address,
// after ioperm has granted the three ports. On processors without port
// instructions it exists but always refuses.
#pragma once

#include "lpt/lpt_port.h"

class direct_io_port : public lpt_port {
 public:
  // Requests the ports base..base+2, drops elevated privileges for good
  // whatever the result, then measures the write cycle; no permission:
  // rtl_error(70). A set-uid install run by a user other than root refuses a
  // base that is not a parallel port's with app_error(70) before asking.
  explicit direct_io_port(uint32_t base);
  ~direct_io_port() override;  // gives the ports back

  uint8_t read(uint8_t reg) override;
  void write(uint8_t reg, uint8_t value) override;  // all eight control bits
  void write_block(const uint8_t* bytes, uint32_t count) override;

  uint32_t base;
};

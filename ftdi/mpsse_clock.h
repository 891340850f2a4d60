// The MPSSE clock divisor for a requested SCK frequency: which master clock
// base the chip runs from and the divisor that gets closest to the request
// without exceeding it. Used by the MPSSE adapter's construction.
#pragma once

#include <cstdint>

struct mpsse_clock {
  uint8_t base_command;  // 0x8A or 0x8B on FT2232H/FT4232H, 0 = none (FT2232C/D)
  uint32_t base_hz;      // 6000000 or 30000000
  uint32_t count;        // base / count is the SCK frequency
  uint16_t divisor;      // count - 1
  float sck_mhz;         // the frequency produced
};

// Prints "SCK frequency for FT2232/FT4232 MPSSE mode must be higher than %s"
// and throws app_error 70 when the divisor would exceed 65535.
mpsse_clock choose_mpsse_clock(uint32_t device_type, uint32_t requested_hz);

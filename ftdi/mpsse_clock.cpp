#include "ftdi/mpsse_clock.h"

#include "driver/messages.h"
#include "driver/timer.h"
#include "ftdi/d2xx_api.h"

namespace {
const int unit_hz = 3;  // index of Hz in the frequency units
}

mpsse_clock choose_mpsse_clock(uint32_t device_type, uint32_t requested_hz) {
  mpsse_clock clock{};
  if (device_type == FT_DEVICE_2232H || device_type == FT_DEVICE_4232H) {
    // 60 MHz master clock: divided by 5 (0x8B) for slow SCK, undivided (0x8A) from 500 kHz up.
    bool slow = requested_hz < 500000;
    clock.base_command = slow ? 0x8B : 0x8A;
    clock.base_hz = slow ? 6000000 : 30000000;
  } else {
    clock.base_command = 0;
    clock.base_hz = 6000000;
  }
  // 64-bit so that huge requests cannot wrap; a zero request is simply too slow.
  uint64_t count = requested_hz == 0 ? UINT64_MAX
                                     : (uint64_t{clock.base_hz} + requested_hz - 1) / requested_hz;
  if (count - 1 > 65535)
    fail(status_usage, "SCK frequency for FT2232/FT4232 MPSSE mode must be higher than %s\n",
         format_frequency(clock.base_hz / 65535.0, unit_hz));
  clock.count = static_cast<uint32_t>(count);
  clock.divisor = static_cast<uint16_t>(count - 1);
  clock.sck_mhz = static_cast<float>(clock.base_hz / 1000000) / static_cast<float>(clock.count);
  return clock;
}

// The emulated USB bus: one entry per channel of every --ftdi chip, with the
// factory descriptions, IDs and serial numbers the D2XX list shows for them.
// Used by the D2XX functions to list and open devices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/bench/config.h"
#include "sim/ftdi/mpsse_engine.h"

namespace vt {

struct channel_info {
  ftdi_chip chip = ftdi_chip::ft2232h;
  uint32_t type = 0;        // FT_DEVICE code: 4 FT2232C/D, 6 FT2232H, 7 FT4232H
  uint32_t id = 0;          // VID << 16 | PID
  uint32_t location = 0;    // LocId: 0x1011 + 0x100 * chip index + channel index
  std::string serial;       // at most 15 characters
  std::string description;  // at most 63 characters, ending in the channel letter
  char letter = 'A';
  bool high_speed = false;
  bool mpsse = false;       // the channel has an MPSSE engine
  bool chip_attached = false;  // a simulated AVR hangs on this channel
  std::string where;        // its chip position name, "ftdi:I:L" (config.h)
  // Modelled USB costs.
  uint64_t turn_ns = 0;     // one request/response turn-around
  uint64_t byte_ns = 0;     // one byte over the bus
  uint32_t packet_payload = 0;  // data bytes of one full IN packet
};

// Default turn-around by chip: about 1 ms on the full-speed FT2232C/D, 125 us on the high-speed chips.
uint64_t default_turn_ns(ftdi_chip chip);

// The channels of `cfg.ftdi`, in order (none with the no-ftdi fault). The chip
// hangs on channel A of the first entry, or with chip positions on theirs. `type_error` names an unknown type.
std::vector<channel_info> emulated_channels(const bench_config& cfg, std::string& type_error);

}  // namespace vt

// Which FTDI channel the user asks for (from the -p value), and in the same
// form which one was found. Filled by the -p parser, read by the opening.
#pragma once

#include <cstdint>

struct ftdi_device_request {
  uint32_t vid = 0;   // 0 = not given
  uint32_t pid = 0;   // 0 = not given
  uint32_t type = 0;  // FT_DEVICE code the adapter kind requires: 4, 6 or 7
  char serial_number[17] = {};  // empty = not given
  char description[65] = {};    // empty = not given
};

// The factory description of channel A of a chip type: "Dual RS232-HS A"
// (FT2232H), "Quad RS232-HS A" (FT4232H), "Dual RS232 A" (any other).
const char* default_ftdi_description(uint32_t type);

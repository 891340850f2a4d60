// Pin names of the PC parallel port for pin configurations: data lines D0..D7,
// status inputs and control outputs, with the lines the port hardware inverts.
#pragma once

#include "adapter/pin_map.h"

// Bits: byte 0 data register, byte 1 status register, byte 2 control register.
extern const pin_desc lpt_pin_table[];

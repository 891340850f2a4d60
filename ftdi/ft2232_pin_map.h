// The pin map of an MPSSE adapter from its -a value: the chip type and pin
// names chosen by the adapter name, the user's PINMAP completed from the
// built-in "FT2232 MPSSE" map, the fixed SPI pins checked, reset swapped.
#pragma once

#include <cstdint>
#include <memory>

#include "adapter/pin_map.h"

// device_type receives the FT_DEVICE code the name asks for: 6 for "ft2232h",
// 7 for "ft4232h" (first 7 characters, any case), 4 for anything else.
std::unique_ptr<pin_map> ft2232_pin_map(const char* adapter_text, uint32_t& device_type);

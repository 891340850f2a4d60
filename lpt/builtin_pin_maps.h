// The wirings of the built-in parallel-port adapters, filled into a cleared
// pin map (before the factory's swap of reset).
#pragma once

#include "adapter/pin_map.h"

void fill_kaldo_map(pin_map& map, bool power_from_data);  // the default adapter
void fill_stk_map(pin_map& map, bool generate_clock);     // STK200/STK300: D6 is XTAL or a buffer enable
void fill_byteblaster_map(pin_map& map);                  // ByteBlaster, ByteBlasterMV
void fill_byteblaster2_map(pin_map& map);
void fill_xilinx_map(pin_map& map);

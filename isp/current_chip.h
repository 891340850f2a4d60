// The chip in use: the identified chip, or else the one named with +name, and
// what follows from it and the run settings (sizes, adapter options). Read by
// the chip access layer, the programming operations and the program entry.
#pragma once

#include "adapter/adapter_options.h"
#include "devices/chip_desc.h"

// Index into chip_table, -1 when no chip is known yet.
int current_chip_index();
// Only called once a chip is known; throws std::logic_error before that.
const chip_desc& current_chip();
int flash_size();
int eeprom_size();
// FLASH bytes that hold data: the erase counter takes the last two.
int flash_data_size();
// The chip's SCK timing in oscillator clocks, times the -x divider.
void sck_timing(int& low_clocks, int& high_clocks);
// The adapter factories' options from the run settings and the chip in use.
adapter_options current_adapter_options();

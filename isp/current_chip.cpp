#include "isp/current_chip.h"

#include <stdexcept>

#include "driver/settings.h"
#include "isp/isp_chip.h"

int current_chip_index() {
  if (isp_chip.chip_index >= 0) return isp_chip.chip_index;
  if (settings.requested_chip != nullptr) return find_chip(settings.requested_chip);
  return -1;
}

// Only called once a chip is known (identified or named with +name); a call
// before that is a caller's mistake, stopped here instead of reading outside
// the table.
const chip_desc& current_chip() {
  const int index = current_chip_index();
  if (index < 0 || index >= chip_count) throw std::logic_error("No chip known yet");
  return chip_table[index];
}

int flash_size() { return current_chip().flash_size; }

int eeprom_size() { return current_chip().eeprom_size; }

// The erase counter occupies the last two FLASH bytes; blank check, free-area
// verification and reading leave them out.
int flash_data_size() {
  const int size = flash_size();
  return settings.use_erase_counter && size != 0 ? size - 2 : size;
}

void sck_timing(int& low_clocks, int& high_clocks) {
  const sck_clocks clocks = chip_sck_clocks(current_chip(), settings.clock_frequency, settings.xtal_divider);
  low_clocks = clocks.low;
  high_clocks = clocks.high;
}

adapter_options current_adapter_options() {
  adapter_options options;
  options.clock_frequency = settings.clock_frequency;
  options.clock_is_sck = settings.clock_is_sck;
  options.outputs_off_after = settings.outputs_off_after;
  options.power_from_data = settings.power_from_data;
  options.force = settings.force;
  options.chip_known = current_chip_index() >= 0;
  if (options.chip_known) sck_timing(options.sck_low_clocks, options.sck_high_clocks);
  return options;
}

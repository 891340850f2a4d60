// Lookups in the device table: by name, the chip in use, its sizes and SCK
// timing, and the fuse byte names.
#include <cstring>
#include <stdexcept>
#include <strings.h>

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "isp/isp_chip.h"

bool chip_name_matches(const char* name, const char* names) {
  const size_t length = strlen(name);
  for (;;) {
    const char* bar = strchr(names, '|');
    if (bar == nullptr) return strcasecmp(names, name) == 0;
    if (static_cast<size_t>(bar - names) == length && strncasecmp(names, name, length) == 0) return true;
    names = bar + 1;
  }
}

int find_chip(const char* name) {
  for (int i = 0; i < chip_count; ++i)
    if (chip_name_matches(name, chip_table[i].name)) return i;
  return -1;
}

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

const char* chip_display_name(int index) {
  return index < 0 || index >= chip_count ? "unknown" : chip_table[index].name;
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
  const uint32_t flags = current_chip().flags;
  if (flags & chip_sck_2_5) {
    low_clocks = 2;
    high_clocks = 5;
  } else if (flags & chip_sck_5_17) {
    low_clocks = 5;
    high_clocks = 17;
  } else if (settings.clock_frequency > 12000000) {
    low_clocks = 3;
    high_clocks = 3;
  } else {
    low_clocks = 2;
    high_clocks = 2;
  }
  low_clocks *= static_cast<int>(settings.xtal_divider);
  high_clocks *= static_cast<int>(settings.xtal_divider);
}

const char* fuse_byte_name(int index) {
  static const char* const names[] = {"_LOCK", "_LOW", "_HIGH", "_EXT"};
  return index >= 0 && index < 4 ? names[index] : "???";
}

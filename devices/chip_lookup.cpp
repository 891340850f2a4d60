// Lookups in the device table: by name, a chip's SCK timing, and the fuse
// byte names.
#include <cstring>
#include <strings.h>

#include "devices/chip_desc.h"

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

const char* chip_display_name(int index) {
  return index < 0 || index >= chip_count ? "unknown" : chip_table[index].name;
}

sck_clocks chip_sck_clocks(const chip_desc& chip, uint32_t clock_frequency, uint32_t xtal_divider) {
  sck_clocks clocks;
  if (chip.flags & chip_sck_2_5) {
    clocks = {2, 5};
  } else if (chip.flags & chip_sck_5_17) {
    clocks = {5, 17};
  } else if (clock_frequency > 12000000) {
    clocks = {3, 3};
  } else {
    clocks = {2, 2};
  }
  clocks.low *= static_cast<int>(xtal_divider);
  clocks.high *= static_cast<int>(xtal_divider);
  return clocks;
}

const char* fuse_byte_name(int index) {
  static const char* const names[] = {"_LOCK", "_LOW", "_HIGH", "_EXT"};
  return index >= 0 && index < 4 ? names[index] : "???";
}

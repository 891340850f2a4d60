// The non-volatile contents of a simulated chip and their state file: what
// survives from one vtarget run to the next. Used by avr_chip and vtarget.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/chip/chip_kind.h"

namespace vt {

struct chip_state {
  std::string chip;                  // chip name (the first name of its kind)
  std::vector<uint8_t> flash;
  std::vector<uint8_t> eeprom;
  uint8_t fuse[3] = {0xFF, 0xFF, 0xFF};  // low, high, extended (the one fuse byte of old parts in [0])
  uint8_t lock = 0xFF;               // bit 0 LB1, bit 1 LB2, bits 2..5 boot lock bits; 0 = programmed
  uint8_t calibration[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  uint32_t erase_cycles = 0;         // chip erases this part has been through

  // A part as it leaves the factory: erased memories, default fuses, unlocked.
  static chip_state factory(const chip_kind& kind);
};

// Text state file; load returns false with a message in `error`.
bool load_chip_state(const std::string& path, chip_state& s, std::string& error);
bool save_chip_state(const std::string& path, const chip_state& s, std::string& error);

}  // namespace vt

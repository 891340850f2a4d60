// What the simulated chip knows about one AVR type: its own description,
// written from the chips' datasheet facts (never from the programmer's table).
// Used by avr_chip and by the vtarget command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vt {

// How a read of a location that is being written answers.
enum class busy_read : uint8_t {
  old_data,        // nothing defined: the old contents
  zero_then_ff,    // 0x00 during the erase phase, then 0xFF
  x80_then_7f,     // 0x80 during the erase phase, then 0x7F
  x7f,             // 0x7F
  ff,              // 0xFF
};

// Where the fuse and lock bits are, and how they are read and written.
enum class fuse_layout : uint8_t {
  none,            // no ISP fuses; lock bits write-only (AC F9/FD), unreadable
  old_combined,    // lock bits in bits 7,6 and the fuse bits in the low bits of the 58 reply
  old_separate,    // fuse byte read with 50, lock bits in bits 2,1 of the 58 reply
  lock_only_58,    // lock bits 7,6 of the 58 reply, no fuses (tiny22L)
  one_byte,        // one fuse byte (50 / AC A0); lock bits 2,1 of the 58 reply, written with AC F9/FD
  modern,          // low / high / extended fuse bytes and a lock byte written with AC E0
};

struct chip_kind {
  std::vector<std::string> names;  // all names and aliases, without "AT"
  uint32_t signature;              // 0x1Exxyy
  uint32_t flash_bytes;
  uint32_t page_bytes;             // 0: each byte programmed by its own instruction
  uint32_t eeprom_bytes;
  double flash_write_ms;           // one byte or one page
  double eeprom_write_ms;
  double erase_ms;
  double fuse_write_ms;            // fuse or lock byte
  busy_read flash_busy;
  busy_read eeprom_busy;
  bool rdy_bsy;                    // answers Poll RDY/BSY (F0)
  bool resync_by_sck;              // old AT90S: one extra SCK pulse shifts the byte boundary
  bool echoes_enable;              // false: Programming Enable returns no echo (AT90S1200)
  int sck_low_clocks;              // SCK low and high must last MORE than this many chip clocks
  int sck_high_clocks;             //   (below 12 MHz; one more at 12 MHz and above)
  fuse_layout fuses;
  uint8_t fuse_default[3];         // low, high, extended as shipped (0xFF where absent)
  uint8_t fuse_present;            // bit 0 low, bit 1 high, bit 2 extended
  uint8_t fuse_used[3];            // bits that exist (others read 1)
  int spien_byte, spien_bit;       // -1: no SPIEN fuse visible over ISP
  int eesave_byte, eesave_bit;     // -1: no EESAVE fuse
  uint8_t lock_used;               // modern lock byte: bits that exist
  uint8_t calibration_count;
  uint8_t calibration[4];          // factory calibration values
  double factory_clock_hz;

  const std::string& name() const { return names.front(); }
  bool paged() const { return page_bytes != 0; }
};

// The table of every chip the bench can simulate, in no particular order.
const std::vector<chip_kind>& chip_kinds();

// Looks a name up (case ignored, a leading "AT" ignored); nullptr when unknown.
const chip_kind* find_chip_kind(const std::string& name);
const chip_kind* find_chip_kind(uint32_t signature);

}  // namespace vt

// The device database: one constant record per supported AVR chip, with the
// fuse field descriptions it points to. Identification, the chip-access layer,
// the command line and the help listings all read it.
#pragma once

#include <cstdint>

struct fuse_info {
  const char* name;
  const char* text;
  const char* alt_name;  // may be null
};

// One field of one fuse byte; a list ends with info == nullptr.
struct fuse_desc {
  const fuse_info* info;
  uint32_t width;  // 1..4 bits
  uint32_t shift;  // position of the least significant bit
};

// Fuse byte indexes of a fuse set.
enum fuse_byte : int { fuse_lock = 0, fuse_low = 1, fuse_high = 2, fuse_ext = 3 };

enum chip_flag : uint32_t {
  chip_no_sync_loop = 0x0002,
  chip_resync_by_sck = 0x0004,
  chip_sck_2_5 = 0x0010,
  chip_sck_5_17 = 0x0020,
  chip_locked_fuse_write = 0x0040,
  chip_erase_bug = 0x0080,
  chip_list_new_line = 0x8000,
};

struct chip_desc {
  const char* name;        // aliases joined by '|', no "AT"
  uint32_t signature;      // bytes 0,1,2 in bits 23..16, 15..8, 7..0
  int erase_delay;         // ms
  int flash_size;          // bytes
  int flash_page_size;     // bytes, 0 = byte-wise writing
  int flash_write_delay;   // ms
  int flash_poll;          // polling method 0..5
  int eeprom_size;         // bytes
  int eeprom_write_delay;  // ms
  int eeprom_poll;         // polling method 0..5
  int osccal_count;        // 0..4
  uint32_t flags;          // chip_flag bits
  uint8_t lock_type;       // 0..3
  uint8_t fuse_type;       // 0..3
  const fuse_desc* const* fuses;  // null or four lists (_LOCK, _LOW, _HIGH, _EXT)
};

extern const chip_desc chip_table[];
extern const int chip_count;  // 112

bool chip_name_matches(const char* name, const char* names);
int find_chip(const char* name);
const char* chip_display_name(int index);

// The shortest SCK low and high times the chip accepts, in oscillator periods
// of the target (times the -x divider of the adapter's clock output).
struct sck_clocks {
  int low = 2;
  int high = 2;
};
sck_clocks chip_sck_clocks(const chip_desc& chip, uint32_t clock_frequency, uint32_t xtal_divider);
const char* fuse_byte_name(int index);

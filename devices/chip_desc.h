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

// Write polling usable for a memory (the waiting itself is in the chip-access layer).
enum class poll_kind : uint8_t {
  none = 0,       // always wait the full write delay
  not_00_ff = 1,  // data polling; 0x00 and 0xFF cannot be polled
  not_7f_80 = 2,  // data polling; 0x7F and 0x80 cannot be polled
  not_7f = 3,     // data polling; 0x7F cannot be polled
  not_ff = 4,     // data polling; 0xFF cannot be polled
  rdy_bsy = 5,    // RDY/BSY polling with the Poll instruction (0xF0)
};

// How the lock bits are read and written.
enum class lock_kind : uint8_t {
  unreadable = 0,  // lock state unknown
  bits_7_6 = 1,    // LB1, LB2 are bits 7 and 6 of the Read Lock reply
  bits_1_2 = 2,    // LB1, LB2 are bits 1 and 2
  bits_0_1 = 3,    // LB1, LB2 are bits 0 and 1; written with 0xAC 0xE0
};

// How the fuses are read and written.
enum class fuse_kind : uint8_t {
  none = 0,     // no ISP-accessible fuses
  byte_58 = 1,  // one fuse byte, read with 0x58
  byte_50 = 2,  // one fuse byte, read with 0x50
  bytes_4 = 3,  // separate low, high, extended and lock bytes
};

struct chip_desc {
  const char* name;        // aliases joined by '|', no "AT"
  uint32_t signature;      // bytes 0,1,2 in bits 23..16, 15..8, 7..0
  int erase_delay;         // ms
  int flash_size;          // bytes
  int flash_page_size;     // bytes, 0 = byte-wise writing
  int flash_write_delay;   // ms
  poll_kind flash_poll;
  int eeprom_size;         // bytes
  int eeprom_write_delay;  // ms
  poll_kind eeprom_poll;
  int osccal_count;        // 0..4
  uint32_t flags;          // chip_flag bits
  lock_kind lock_type;
  fuse_kind fuse_type;
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

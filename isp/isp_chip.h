// The chip-access state of the run: which chip is in use, power state, the
// memory being addressed, page-buffer and polling state, scaled write waits,
// fuse, lock and calibration bytes. One instance, used by the whole chip
// access layer and by the memory operations above it.
#pragma once

#include <cstdint>

using write_routine = void (*)(int32_t address, uint8_t value);

struct fuse_read_pair {
  uint8_t value = 0;    // the byte as last read from the chip
  uint8_t defined = 0;  // OR of the masks of all fields described for the byte
};

struct fuse_request_pair {
  uint8_t value = 0;  // requested bits; after programming the complete new byte
  uint8_t mask = 0;   // bits the user asked to set
};

enum poll_modes : uint8_t { poll_delay = 0, poll_data = 1, poll_ready_busy = 2 };

struct isp_chip_state {
  int chip_index = -1;
  bool powered = false;
  uint8_t memory = 0;  // 0 FLASH, 1 EEPROM
  bool erased = false;
  bool paged_flash = false;
  uint32_t page_mask = 0;
  int32_t last_loaded = -1;
  uint8_t page_buffer[4 * 256 + 4] = {};
  int page_fill = 0;
  uint8_t poll_mode = poll_delay;
  uint8_t unpollable[2] = {0, 0};
  int32_t poll_address = -1;
  uint8_t poll_value = 0;
  write_routine writer[2] = {nullptr, nullptr};  // set to write_byte at start-up
  float eeprom_delay = 0;
  float flash_byte_delay = 0;
  float flash_page_delay = 0;
  float erase_wait = 50;
  float reset_delay = 100;
  float reset_inactive_time = 2;
  fuse_read_pair fuse_read[4];
  fuse_request_pair fuse_request[4];
  uint8_t osccal[4] = {0, 0, 0, 0};
  int lock_state = -1;  // -1 unknown, 0 not locked, 1 programming disabled, 2 reading and programming disabled
};

extern isp_chip_state isp_chip;

// The run settings: process-wide values that the command line fills in and
// every other subsystem reads. Written only while parsing (the run clears
// use_erase_counter in one case).
#pragma once

#include <cstdint>

struct run_settings {
  const char* requested_chip = nullptr;  // the +name, "AT" dropped
  const char* code_file = nullptr;
  const char* data_file = nullptr;
  bool split_code_file = true;  // a single bare file name: bytes beyond FLASH go to EEPROM
  const char* fuse_list_text = nullptr;
  const char* adapter_text = nullptr;
  const char* port_text = nullptr;
  bool erase = false;
  bool eeprom_keep = false;
  uint8_t blank_mask = 0;   // bit 0 CODE, bit 1 DATA
  bool read = false;
  uint8_t write_flags = 0;  // write_flag_* bits
  bool verify = false;
  bool verify_all = false;
  char lock_level = 0;      // '1', '2' or 0
  bool lock_first = false;
  bool use_erase_counter = false;
  uint16_t erase_counter_value = 0xFFFF;  // 0xFFFF = not forced
  bool force = false;
  bool wait_key = false;
  bool wait_key_early = false;
  bool outputs_off_after = false;
  bool power_from_data = false;
  float delay_multiplier = 1.0f;
  uint32_t clock_frequency = 800000;
  bool clock_is_sck = false;
  uint32_t xtal_divider = 1;
};

enum : uint8_t {
  write_flag_write = 1,
  write_flag_fill_eeprom = 2,
  write_flag_polling = 4,
};

extern run_settings settings;

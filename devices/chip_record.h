// Builds one device-table record with every field named, so that the compiler
// checks the names and a record with a field left out does not compile:
//   chip_record("mega8").signature(0x1E9307).erase_delay(10)...
// Used by the device table only.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "devices/chip_desc.h"

class chip_record {
  // Defined ahead of the setters: a constant expression may only call what is already defined.
  static constexpr uint32_t all_fields = (1u << 14) - 1;

  template <typename Field, typename Value>
  constexpr chip_record& set(Field& field, Value value, uint32_t bit) {
    if (fields & bit) throw std::logic_error("chip record with a field set twice");
    field = value;
    fields |= bit;
    return *this;
  }

  chip_desc record;
  uint32_t fields = 0;

 public:
  constexpr explicit chip_record(const char* name) : record{} { record.name = name; }

  constexpr chip_record& signature(uint32_t v) { return set(record.signature, v, 1u << 0); }
  constexpr chip_record& erase_delay(int ms) { return set(record.erase_delay, ms, 1u << 1); }
  constexpr chip_record& flash_size(int bytes) { return set(record.flash_size, bytes, 1u << 2); }
  constexpr chip_record& flash_page_size(int bytes) { return set(record.flash_page_size, bytes, 1u << 3); }
  constexpr chip_record& flash_write_delay(int ms) { return set(record.flash_write_delay, ms, 1u << 4); }
  constexpr chip_record& flash_poll(poll_kind v) { return set(record.flash_poll, v, 1u << 5); }
  constexpr chip_record& eeprom_size(int bytes) { return set(record.eeprom_size, bytes, 1u << 6); }
  constexpr chip_record& eeprom_write_delay(int ms) { return set(record.eeprom_write_delay, ms, 1u << 7); }
  constexpr chip_record& eeprom_poll(poll_kind v) { return set(record.eeprom_poll, v, 1u << 8); }
  constexpr chip_record& osccal_count(int n) { return set(record.osccal_count, n, 1u << 9); }
  constexpr chip_record& flags(uint32_t v) { return set(record.flags, v, 1u << 10); }
  constexpr chip_record& lock_type(lock_kind v) { return set(record.lock_type, v, 1u << 11); }
  constexpr chip_record& fuse_type(fuse_kind v) { return set(record.fuse_type, v, 1u << 12); }
  constexpr chip_record& fuses(const fuse_desc* const* v) { return set(record.fuses, v, 1u << 13); }

  // In the constant table a missing or repeated field stops the compilation here.
  constexpr operator chip_desc() const {
    if (fields != all_fields) throw std::logic_error("chip record with a field missing");
    return record;
  }
};

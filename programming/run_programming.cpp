#include "programming/run_programming.h"

#include <memory>

#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "image/hex_file.h"
#include "image/memory_images.h"
#include "isp/chip_erase.h"
#include "isp/chip_timing.h"
#include "isp/current_chip.h"
#include "isp/fuses.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "isp/lock.h"
#include "isp/memory_read.h"
#include "isp/osccal.h"
#include "programming/memory_operations.h"
#include "programming/data_cells.h"

namespace {

constexpr uint16_t counter_not_set = 0xFFFF;
const char* const eeprom_save_file = "(eeprom).sav";

bool writing() { return settings.write_flags != 0; }
bool has_files() { return settings.code_file != nullptr || settings.data_file != nullptr; }

// The counter lives in the last two FLASH bytes, low byte first.
int32_t erase_counter_address() { return flash_data_size(); }

void check_device(bool after_erase) {
  if (isp_chip.chip_index != -1) {
    if (chip_name_matches(settings.requested_chip, chip_display_name(isp_chip.chip_index))) return;
    report(settings.force ? 1 : 0, "Requested <%s>, detected <%s>\n", settings.requested_chip,
           chip_display_name(isp_chip.chip_index));
  } else if (!after_erase) {
    return;
  }
  if (!settings.force) fail(status_identity, "Can't continue\n");
  isp_chip.chip_index = find_chip(settings.requested_chip);
  report(1, "Device type forced to %s\n", settings.requested_chip);
}

void check_lock_access() {
  if (isp_chip.lock_state <= 0) return;
  if (writing() && (has_files() || !(current_chip().flags & chip_locked_fuse_write)))
    fail(status_chip_failed, "Can't write to locked chip\n");
  if (isp_chip.lock_state >= 2 &&
      ((settings.read && !settings.force) || settings.blank_mask != 0 || (settings.verify && has_files())))
    fail(status_chip_failed, "Can't read (blank check, verify) fully locked chip\n");
}

void check_fuses_writable() {
  if (current_chip().fuses == nullptr) return;
  read_fuses();
  print_fuses("Fuses ", isp_chip.fuse_read);
  if (writing() && settings.fuse_list_text != nullptr && !lock_allowed())
    fail(status_chip_failed, "Can't write all requested fuses, need to erase chip\n");
}

void apply_lock(char level) {
  if (level - '0' < isp_chip.lock_state) {
    report(1, "Warning: device already locked to level %d, can't change lock level!\n", isp_chip.lock_state);
    return;
  }
  report(2, "Device locked to level %c!\n", lock_chip(level));
}

void handle_erase_counter() {
  if (isp_chip.chip_index == -1 && !settings.force) {
    report(0, "Can't read number of erases from unknown or locked chip\n");
    if (settings.erase_counter_value == counter_not_set) settings.erase_counter_value = 1;
  } else {
    isp_chip.memory = mem_code;
    int32_t address = erase_counter_address();
    if (flash_size() > extended_segment) load_extended_address(extended_address_of(address));
    unsigned stored = read_byte(address) + read_byte(address + 1) * 256u;
    if (stored == 0xFFFF)
      report(1, "Number of erases not initialized\n");
    else
      report(2, "Read number of erases %u\n", stored);
    if (settings.erase_counter_value == counter_not_set) {
      settings.erase_counter_value = static_cast<uint16_t>(stored == 0xFFFF ? 1 : stored + 1);
      return;
    }
  }
  if (settings.erase || writing()) report(2, "Number of erases forced to %u\n", settings.erase_counter_value);
}

void write_erase_counter() {
  if (isp_chip.chip_index == -1) fail(status_identity, "Can't write number of erases%s\n", " to unknown chip");
  int32_t address = erase_counter_address();
  if (code_image.count() != 0 && address <= code_image.last()->end()) {
    report(0, "Can't write number of erases%s\n", ", locations used for code");
    settings.use_erase_counter = false;
    return;
  }
  apply_chip_timing(settings.delay_multiplier);
  const uint8_t bytes[2] = {static_cast<uint8_t>(settings.erase_counter_value),
                            static_cast<uint8_t>(settings.erase_counter_value >> 8)};
  mem_image counter;
  counter.append(new data_block(address, 2, bytes));
  report(2, "Writing erase counter = %d\n", settings.erase_counter_value);
  program_memory(mem_code, counter);
  if (settings.verify && !verify_memory(mem_code, counter)) fail(status_chip_failed, "Can't write number of erases%s\n", "");
}

void erase_branch() {
  apply_chip_timing(settings.delay_multiplier);
  mem_image eeprom_copy;
  if (settings.eeprom_keep) {
    if (isp_chip.chip_index == -1 && !settings.force) fail(status_identity, "Can't save EEPROM in unknown chip\n");
    report(2, "Saving EEPROM\n");
    read_memory(mem_data, eeprom_copy);
  }
  chip_erase();
  check_device(true);
  check_lock_access();
  check_fuses_writable();
  if (settings.blank_mask != 0 && blank_check(settings.blank_mask) != 0) {
    if (settings.eeprom_keep) {
      report(0, "EEPROM content saved to HEX-file \"%s\"", eeprom_save_file);
      hex_write(eeprom_copy, eeprom_save_file);
    }
    throw app_error(status_chip_failed);
  }
  if (settings.eeprom_keep) {
    report(2, "Restoring EEPROM\n");
    program_memory(mem_data, eeprom_copy);
  }
  if (settings.erase_counter_value != counter_not_set) write_erase_counter();
}

void check_fit() {
  if (code_image.count() != 0 && code_image.last()->end() >= flash_size())
    fail_cant_fit(settings.code_file, mem_code);
  if (data_image.count() != 0 && data_image.last()->end() >= eeprom_size())
    fail_cant_fit(settings.data_file != nullptr ? settings.data_file : "data part of input file", mem_data);
}

void verify_or_stop(int kind, const mem_image& image) {
  if (!verify_memory(kind, image)) throw app_error(status_chip_failed);
}

// -r: each named file from the chip's memory.
void read_to_files() {
  if (settings.code_file != nullptr) {
    read_memory(mem_code, code_image);
    hex_write(code_image, settings.code_file);
  }
  if (settings.data_file != nullptr) {
    read_memory(mem_data, data_image);
    hex_write(data_image, settings.data_file);
  }
}

// -w and -v on both memories, FLASH first.
void write_and_verify_images() {
  if (code_image.count() != 0) {
    if (writing()) program_memory(mem_code, code_image);
    if (settings.verify) {
      if (settings.use_erase_counter && code_image.last()->end() + 1 > flash_size() - 2)
        report(1, "Ignore -n switch, top two flash bytes used for code\n");
      verify_or_stop(mem_code, code_image);
    }
  }
  if (data_image.count() != 0) {
    if (writing()) program_memory(mem_data, data_image);
    if (settings.verify) verify_or_stop(mem_data, data_image);
  }
}

// -F with -w and/or -v.
void write_and_verify_fuses() {
  if (writing()) {
    program_fuses();
    read_fuses();
    print_fuses("New fuses value", isp_chip.fuse_read);
  }
  if (settings.verify && !verify_fuses()) throw app_error(status_chip_failed);
}

// Reading, or writing and verifying the images, the fuses and the lock (before
// the fuses with -l+).
void main_work() {
  apply_chip_timing(settings.delay_multiplier);
  check_fit();
  if (settings.read) {
    read_to_files();
    return;
  }
  write_and_verify_images();
  if (settings.lock_level && settings.lock_first) apply_lock(settings.lock_level);
  if (settings.fuse_list_text != nullptr) write_and_verify_fuses();
  if (settings.lock_level && !settings.lock_first) apply_lock(settings.lock_level);
}

}  // namespace

void run_programming() {
  synchronise_and_identify();
  read_lock_state();
  print_lock_state();
  check_device(false);
  if (current_chip().osccal_count > 0) read_osccal();
  if (writing() || settings.verify) {
    insert_osccal_cell();
    insert_serial_number_cell();
    insert_bytes_cell();
  }
  if (settings.use_erase_counter) handle_erase_counter();
  if (settings.erase) {
    erase_branch();
  } else {
    check_device(true);
    check_lock_access();
    check_fuses_writable();
    if (settings.blank_mask != 0 && blank_check(settings.blank_mask) != 0) throw app_error(status_chip_failed);
  }
  main_work();
  finish_serial_number_file();
}

#include "programming/data_cells.h"

#include <cerrno>
#include <cstdio>

#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/process_state.h"
#include "driver/settings.h"
#include "image/memory_images.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"

namespace {

// The serial number file stays open from its insertion to the end of the run.
FILE* serial_file = nullptr;
uint32_t serial_number = 0;  // 32 bits on every platform: 4294967295 is followed by 0
const process_state_reset reset_serial_number{[] {
  if (serial_file != nullptr) fclose(serial_file);
  serial_file = nullptr;
  serial_number = 0;
}};

const char* mode_memory_name(cell_mode mode) { return memory_kind_name(mode == cell_data ? mem_data : mem_code); }

data_block* block_holding(mem_image& image, int32_t address, const char* name) {
  data_block* block = image.find_if([address](const data_block* b) { return b->contains(address); });
  if (block == nullptr) fail(status_data, "HEX record for %s not found\n", name);
  return block;
}

}  // namespace

void check_destination(const char* name, cell_mode mode, uint32_t address, int size) {
  int32_t memory_size = mode == cell_data ? eeprom_size() : flash_data_size();
  if (mode == cell_code_ldi) size *= 2;
  if (memory_size - size < static_cast<int32_t>(address)) fail(status_usage, "%s destination address too large\n", name);
}

void insert_cells(const char* name, cell_mode mode, uint32_t address, const uint8_t* bytes, int count) {
  mem_image& image = mode == cell_data ? data_image : code_image;
  if (image.empty())
    fail(status_usage, "No hex records for %s, can't insert %s\n", mode == cell_data ? "EEPROM" : "FLASH", name);
  int32_t at = static_cast<int32_t>(address);
  data_block* block = nullptr;
  auto cell = [&](int32_t where) -> data_block* {
    if (block == nullptr || !block->contains(where)) block = block_holding(image, where, name);
    return block;
  };
  for (int i = 0; i < count; ++i) {
    uint8_t value = bytes[i];
    if (mode != cell_code_ldi) {
      cell(at)->set_byte(at, value);
      at += 1;
    } else {
      // The K field of LDI: low nibble in the first byte, high nibble in the next.
      data_block* low = cell(at);
      low->set_byte(at, static_cast<uint8_t>((low->get_byte(at) & 0xF0) | (value & 0x0F)));
      data_block* high = cell(at + 1);
      high->set_byte(at + 1, static_cast<uint8_t>((high->get_byte(at + 1) & 0xF0) | (value >> 4)));
      at += 2;
    }
  }
}

void insert_osccal_cell() {
  const osccal_cell& cmd = special_commands.osccal;
  if (cmd.mode == cell_none) return;
  if (cmd.index < 0 || cmd.index >= current_chip().osccal_count)
    fail(status_usage, "OSCCAL%d not exist in selected chip\n", cmd.index);
  check_destination("OSCCAL", cmd.mode, cmd.address, 1);
  int value = isp_chip.osccal[cmd.index] + cmd.correction;
  if (value > 255) {
    value = 255;
    report(2, "Warning: corrected osccal value limited by 0x%02X\n", value);
  } else if (value < 0) {
    value = 0;
    report(2, "Warning: corrected osccal value limited by 0x%02X\n", value);
  }
  const uint8_t byte = static_cast<uint8_t>(value);
  insert_cells("OSCCAL", cmd.mode, cmd.address, &byte, 1);
  char correction[16] = "";
  if (cmd.correction != 0) snprintf(correction, sizeof correction, "%+d", cmd.correction);
  report(2, "OSCCAL%d%s inserted to %s at 0x%lX %s\n", cmd.index, correction, mode_memory_name(cmd.mode),
         static_cast<unsigned long>(cmd.address), cmd.mode == cell_code_ldi ? "as part of LDI command" : "");
}

void insert_serial_number_cell() {
  const serno_cell& cmd = special_commands.serno;
  if (cmd.mode == cell_none) return;
  if (cmd.length < 1 || cmd.length > 4) fail(status_usage, "Invalid SERNO length\n");
  check_destination("SERNO", cmd.mode, cmd.address, cmd.length);
  serial_file = open_file_or_fail(cmd.file.c_str(), "r+t");
  unsigned long text_value = 0;
  if (fscanf(serial_file, "%lu", &text_value) != 1) {
    report(0, "Can't read %s\n", cmd.file.c_str());
    throw rtl_error(status_data);
  }
  serial_number = static_cast<uint32_t>(text_value);
  uint8_t bytes[4];
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(serial_number >> (8 * i));
  insert_cells("SERNO", cmd.mode, cmd.address, bytes, cmd.length);
  report(2, "Chip serial number is %lu\n", static_cast<unsigned long>(serial_number));
  report(3, " inserted as %d-byte value to %s at 0x%lX %s\n", cmd.length, mode_memory_name(cmd.mode),
         static_cast<unsigned long>(cmd.address), cmd.mode == cell_code_ldi ? "as part of LDI command[s]" : "");
}

void insert_bytes_cell() {
  const bytes_cell& cmd = special_commands.bytes;
  if (cmd.mode == cell_none) return;
  insert_cells("BYTES", cmd.mode, cmd.address, cmd.data.data(), cmd.count);
}

void finish_serial_number_file() {
  if (serial_file == nullptr) return;
  FILE* file = serial_file;
  serial_file = nullptr;
  if (settings.write_flags == 0) {
    fclose(file);
    return;
  }
  const char* name = special_commands.serno.file.c_str();
  ++serial_number;
  // Closed and opened anew rather than reopened on the same stream: a failed
  // freopen leaves its stream neither open nor freed.
  fclose(file);
  file = fopen(name, "wt");
  bool ok = file != nullptr && fprintf(file, "%lu\n", static_cast<unsigned long>(serial_number)) > 0;
  if (file != nullptr && fclose(file) != 0) ok = false;
  if (!ok) {
    int e = errno;
    report(0, "Can't write %s\nnext serial number is %lu\n", name, static_cast<unsigned long>(serial_number));
    errno = e;
    throw rtl_error(status_data);
  }
}

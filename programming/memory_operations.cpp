#include "programming/memory_operations.h"

#include <algorithm>

#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/process_state.h"
#include "driver/settings.h"
#include "driver/signals.h"
#include "driver/timer.h"
#include "image/mem_image.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/memory_read.h"
#include "isp/memory_write.h"
#include "isp/write_wait.h"

namespace {

// State of the operation in progress.
struct operation_state {
  int progress_count = 0;
  int progress_step = 512;
  int32_t position = 0;       // just behind the last block handled
  long error_count = 0;
  bool free_blank = true;
  bool verify_ok = true;
};
operation_state op;
const process_state_reset reset_operation{[] { op = operation_state{}; }};

constexpr int flash_run = 512;
constexpr int eeprom_run = 32;

int run_length() { return isp_chip.memory == mem_code ? flash_run : eeprom_run; }

void read_run(uint8_t* buffer, int32_t address, int length) {
  if (isp_chip.memory == mem_code)
    read_flash(buffer, address, length);
  else
    read_eeprom(buffer, address, length);
}

void progress_start() {
  operation_timer.start();
  op.progress_count = 0;
  op.progress_step = run_length();
}

void progress_advance(int n) {
  op.progress_count += n;
  while (op.progress_count >= op.progress_step) {
    op.progress_count -= op.progress_step;
    report(2, ".");
  }
}

void operation_done() {
  operation_timer.stop();
  report(2, " done (%s)\n", format_time(operation_timer.elapsed_ms(), 1));
}

// from..to inclusive, in the memory selected by isp_chip.memory.
bool is_blank(int32_t from, int32_t to) {
  report(3, "\n\t%% IsBlank from 0x%lX to 0x%lX\t", static_cast<long>(from), static_cast<long>(to));
  reset_page_buffer();
  uint8_t buffer[flash_run];
  for (int32_t address = from; address <= to;) {
    int length = static_cast<int>(std::min<int32_t>(run_length(), to - address + 1));
    read_run(buffer, address, length);
    if (std::any_of(buffer, buffer + length, [](uint8_t b) { return b != 0xFF; })) return false;
    progress_advance(length);
    check_terminated();
    address += length;
  }
  return true;
}

// Blocks may overlap where their bytes are equal (the HEX reader keeps both):
// what an earlier block covered is skipped, so every address is written or
// read once, and `position` never goes back.
int32_t first_new_offset(const data_block& block) { return std::max<int32_t>(0, op.position - block.address); }

void block_done(const data_block& block) { op.position = std::max(op.position, block.address + block.size); }

bool tests_free_locations() {
  return settings.verify_all || (isp_chip.memory == mem_data && (settings.write_flags & write_flag_fill_eeprom));
}

void verify_block(const data_block& block) {
  if (tests_free_locations() && op.position < block.address && !is_blank(op.position, block.address - 1))
    op.free_blank = false;
  report(3, "\n\t%% Verifying from 0x%lX to 0x%lX  ", static_cast<long>(block.address),
         static_cast<long>(block.address + block.size - 1));
  uint8_t buffer[flash_run];
  for (int32_t offset = first_new_offset(block); offset < block.size;) {
    int length = std::min(run_length(), block.size - offset);
    read_run(buffer, block.address + offset, length);
    for (int i = 0; i < length; ++i) {
      uint8_t expected = block.bytes[offset + i];
      if (buffer[i] != expected) {
        ++op.error_count;
        report(3, "\t%% %08lX: expected %02X, read %02X\n", static_cast<long>(block.address + offset + i), expected,
               buffer[i]);
      }
    }
    progress_advance(length);
    check_terminated();
    offset += length;
  }
  block_done(block);
}

void fill_free_to(int32_t end) {
  while (op.position < end) {
    write_cell(op.position, 0xFF);
    ++op.position;
    check_terminated();
    progress_advance(1);
  }
}

bool fills_eeprom() {
  return (settings.write_flags & write_flag_fill_eeprom) && !isp_chip.erased && isp_chip.memory == mem_data;
}

void program_block(const data_block& block) {
  if (fills_eeprom()) fill_free_to(block.address);
  for (int32_t i = first_new_offset(block); i < block.size; ++i) {
    write_cell(block.address + i, block.bytes[i]);
    check_terminated();
    progress_advance(1);
  }
  block_done(block);
}

// One memory's blank check from address 0 to last, with its progress line.
bool memory_blank(int32_t last) {
  progress_start();
  const bool blank = is_blank(0, last);
  operation_done();
  return blank;
}

}  // namespace

uint32_t blank_check(uint8_t what) {
  uint32_t result = 0;
  if (what & 1) {
    isp_chip.last_loaded = -1;
    isp_chip.memory = mem_code;
    report(2, "Blank check\nCode: ");
    if (memory_blank(flash_data_size() - 1)) {
      report(2, "  blank\n");
    } else {
      result |= 1;
      report(0, "Code not blank\n");
    }
    if (!(what & 2)) return result;
  }
  if ((what & 2) && eeprom_size() != 0) {
    isp_chip.memory = mem_data;
    if (!(what & 1)) report(2, "Blank check\n");
    report(2, "Data: ");
    if (memory_blank(eeprom_size() - 1)) {
      report(2, "  blank\n");
    } else {
      result |= 2;
      report(2, "  not blank\n");
    }
  }
  return result;
}

bool verify_memory(int kind, const mem_image& image) {
  isp_chip.memory = static_cast<uint8_t>(kind);
  report(2, "Verifying %s\n", memory_kind_name(kind));
  progress_start();
  isp_chip.last_loaded = -1;
  op.error_count = 0;
  op.position = 0;
  op.free_blank = true;
  op.verify_ok = true;
  reset_page_buffer();
  for (const data_block* block = image.first(); block != nullptr; block = image.next(block)) verify_block(*block);
  bool free_test = tests_free_locations();
  int32_t end = (kind == mem_data ? eeprom_size() : flash_data_size()) - 1;
  if (free_test && op.position <= end && !is_blank(op.position, end)) op.free_blank = false;
  if (op.error_count != 0) {
    op.verify_ok = false;
    report(0, "failed, %ld error%c\n", op.error_count, op.error_count == 1 ? ' ' : 's');
  } else {
    report(2, " passed\n");
  }
  if (free_test) {
    if (op.free_blank)
      report(2, " Free positions are %sblank\n", "");
    else
      report(0, " Free positions are %sblank\n", "NOT ");
  }
  operation_done();
  return op.verify_ok && op.free_blank;
}

void read_memory(int kind, mem_image& image) {
  isp_chip.memory = static_cast<uint8_t>(kind);
  int32_t size = kind == mem_data ? eeprom_size() : flash_data_size();
  report(2, "Reading %s\n", memory_kind_name(kind));
  progress_start();
  reset_page_buffer();
  isp_chip.last_loaded = -1;
  uint8_t buffer[flash_run];
  for (int32_t address = 0; address < size;) {
    int length = std::min(run_length(), size - address);
    read_run(buffer, address, length);
    image.append(new data_block(address, length, buffer));
    progress_advance(length);
    check_terminated();
    address += length;
  }
  operation_done();
}

void program_memory(int kind, const mem_image& image) {
  isp_chip.memory = static_cast<uint8_t>(kind);
  report(2, "Programming %s\n", memory_kind_name(kind));
  progress_start();
  setup_polling(kind);
  op.position = 0;
  for (const data_block* block = image.first(); block != nullptr; block = image.next(block)) program_block(*block);
  if (fills_eeprom()) fill_free_to(eeprom_size());
  if (isp_chip.memory == mem_code && isp_chip.paged_flash && isp_chip.last_loaded != -1)
    write_flash_page(isp_chip.last_loaded);
  operation_done();
}

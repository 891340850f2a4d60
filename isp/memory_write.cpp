#include "isp/memory_write.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"
#include "isp/memory_read.h"
#include "isp/write_wait.h"

namespace {

constexpr uint8_t op_load_low = 0x40;
constexpr uint8_t op_load_high = 0x48;
constexpr uint8_t op_write_page = 0x4C;
constexpr uint8_t op_write_eeprom = 0xC0;
constexpr int32_t none = -1;

bool same_page(int32_t a, int32_t b) {
  const int32_t mask = int32_t(isp_chip.page_mask);
  return (a | mask) == (b | mask);
}

bool is_even(int32_t addr) { return addr != none && (addr & 1) == 0; }

void append_instruction(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3) {
  // Ascending addresses fill at most one page of 256 bytes plus one Load
  // Extended Address; anything more is a caller's mistake, not chip data.
  if (isp_chip.page_fill + 4 > int(sizeof isp_chip.page_buffer)) {
    fail(status_other, "Page buffer overflow\n");
  }
  uint8_t* p = isp_chip.page_buffer + isp_chip.page_fill;
  p[0] = b0;
  p[1] = b1;
  p[2] = b2;
  p[3] = b3;
  isp_chip.page_fill += 4;
}

}  // namespace

void write_cell(int32_t addr, uint8_t value) { isp_chip.writer[isp_chip.memory](addr, value); }

void write_byte(int32_t addr, uint8_t value) {
  const bool eeprom = isp_chip.memory == mem_data;
  if (value == 0xFF && isp_chip.erased && !(eeprom && settings.eeprom_keep)) return;
  if (eeprom) {
    isp_exchange(op_write_eeprom, uint8_t(addr >> 8), uint8_t(addr), value);
  } else {
    isp_exchange((addr & 1) ? op_load_high : op_load_low, uint8_t(addr >> 9), uint8_t(addr >> 1), value);
  }
  const float delay = eeprom ? isp_chip.eeprom_delay : isp_chip.flash_byte_delay;
  if (!wait_write(addr, value, delay)) {
    fail(status_chip_failed, "Poll: can't write byte to %s at 0x%lX\n", memory_kind_name(isp_chip.memory),
         static_cast<unsigned long>(addr));
  }
}

void page_write_byte(int32_t addr, uint8_t value) {
  int32_t expected;
  if (!same_page(addr, isp_chip.last_loaded)) {
    if (isp_chip.last_loaded != none) {
      write_flash_page(isp_chip.last_loaded);
      isp_chip.last_loaded = none;
    }
    expected = 0;
  } else {
    expected = isp_chip.last_loaded + 1;
  }
  const bool skip_ff = value == 0xFF && isp_chip.erased;
  if (addr != expected) {
    // Keep words whole: the high byte of the last loaded word, the low byte of this one.
    if (is_even(isp_chip.last_loaded)) {
      load_page_byte(isp_chip.last_loaded + 1, 0xFF);
      isp_chip.last_loaded = isp_chip.last_loaded + 1;
    }
    if ((addr & 1) != 0 && !skip_ff) {
      load_page_byte(addr - 1, 0xFF);
      isp_chip.last_loaded = addr - 1;
    }
  }
  if (skip_ff) return;
  load_page_byte(addr, value);
  isp_chip.last_loaded = addr;
}

void load_page_byte(int32_t addr, uint8_t value) {
  if (isp_chip.poll_mode == poll_data && value != isp_chip.unpollable[0] && value != isp_chip.unpollable[1]) {
    isp_chip.poll_address = addr;
    isp_chip.poll_value = value;
  }
  append_instruction((addr & 1) ? op_load_high : op_load_low, uint8_t(addr >> 9), uint8_t(addr >> 1), value);
}

void write_flash_page(int32_t addr) {
  if (is_even(addr)) load_page_byte(addr + 1, 0xFF);
  if (current_chip().flash_size > extended_segment) append_instruction(0x4D, 0x00, extended_address_of(addr), 0x00);
  current_adapter->write_block(isp_chip.page_buffer, uint32_t(isp_chip.page_fill));
  isp_chip.page_fill = 0;
  isp_exchange(op_write_page, uint8_t(addr >> 9), uint8_t(addr >> 1), 0x00);
  if (!wait_write(isp_chip.poll_address, isp_chip.poll_value, isp_chip.flash_page_delay)) {
    fail(status_chip_failed, "Poll: can't write page at 0x%lX\n",
         static_cast<unsigned long>(addr & ~int32_t(isp_chip.page_mask)));
  }
  isp_chip.poll_address = none;
}

void reset_page_buffer() { isp_chip.page_fill = 0; }

#include "isp/memory_read.h"

#include <vector>

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/signals.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"

namespace {

constexpr uint8_t op_read_low = 0x20;
constexpr uint8_t op_read_high = 0x28;
constexpr uint8_t op_read_eeprom = 0xA0;
constexpr uint8_t op_load_extended = 0x4D;

struct read_instruction {
  uint8_t op, b1, b2;
};

read_instruction flash_read_instruction(int32_t addr) {
  return {(addr & 1) ? op_read_high : op_read_low, uint8_t(addr >> 9), uint8_t(addr >> 1)};
}

read_instruction eeprom_read_instruction(int32_t addr) {
  return {op_read_eeprom, uint8_t(addr >> 8), uint8_t(addr)};
}

// One read instruction shifted byte by byte; the echo of the opcode comes
// back while the second byte goes out.
uint8_t read_bytewise(const read_instruction& r) {
  spi_adapter* a = current_adapter.get();
  a->write(r.op);
  const uint8_t echo = a->transfer(r.b1);
  a->write(r.b2);
  const uint8_t data = a->read();
  if (echo != r.op) fail_sync_lost();
  return data;
}

// A run of reads; extended is the Load Extended Address value to send first, or -1.
template <typename make_instruction>
void read_run(uint8_t* buf, int32_t addr, int32_t len, int extended, make_instruction make) {
  if (current_adapter->block_mode()) {
    const size_t head = extended >= 0 ? 4 : 0;
    std::vector<uint8_t> io(head + 4 * size_t(len));
    if (extended >= 0) {
      io[0] = op_load_extended;
      io[1] = 0x00;
      io[2] = uint8_t(extended);
      io[3] = 0x00;
    }
    for (int32_t i = 0; i < len; ++i) {
      const read_instruction r = make(addr + i);
      uint8_t* c = &io[head + 4 * size_t(i)];
      c[0] = r.op;
      c[1] = r.b1;
      c[2] = r.b2;
      c[3] = 0x00;
    }
    const std::vector<uint8_t> out(io);
    current_adapter->transfer_block(out.data(), io.data(), uint32_t(io.size()));
    for (int32_t i = 0; i < len; ++i) {
      const uint8_t* reply = &io[head + 4 * size_t(i)];
      if (reply[1] != out[head + 4 * size_t(i)]) fail_sync_lost();
      buf[i] = reply[3];
    }
    check_terminated();
  } else {
    if (extended >= 0) load_extended_address(uint8_t(extended));
    for (int32_t i = 0; i < len; ++i) {
      buf[i] = read_bytewise(make(addr + i));
      check_terminated();
    }
  }
}

// Load Extended Address is needed on FLASH above 128 KB whenever the run's
// segment differs from the last one sent (none sent yet: always).
int extended_for(int32_t addr) {
  if (current_chip().flash_size <= extended_segment) return -1;
  const uint8_t wanted = extended_address_of(addr);
  const uint8_t last = extended_address_of(isp_chip.last_loaded);
  if (wanted == last) return -1;
  isp_chip.last_loaded = addr;
  return wanted;
}

}  // namespace

void load_extended_address(uint8_t e) { isp_exchange(op_load_extended, 0x00, e, 0x00); }

void read_flash(uint8_t* buf, int32_t addr, int32_t len) {
  while (len > 0) {
    const int32_t to_boundary = extended_segment - (addr % extended_segment);
    const int32_t run = len < to_boundary ? len : to_boundary;
    read_run(buf, addr, run, extended_for(addr), flash_read_instruction);
    buf += run;
    addr += run;
    len -= run;
  }
}

void read_eeprom(uint8_t* buf, int32_t addr, int32_t len) {
  if (len > 0) read_run(buf, addr, len, -1, eeprom_read_instruction);
}

uint8_t read_byte(int32_t addr) {
  uint8_t value = 0;
  if (isp_chip.memory == mem_data) {
    read_run(&value, addr, 1, -1, eeprom_read_instruction);
  } else {
    read_run(&value, addr, 1, -1, flash_read_instruction);
  }
  return value;
}

#include "isp/fuses.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/signals.h"
#include "isp/current_chip.h"
#include "isp/fuse_field.h"
#include "isp/isp_exchange.h"

namespace {

// Fuse writes take four times as long as an EEPROM byte.
constexpr float fuse_write_factor = 4;

bool has_list(const chip_desc& chip, int i) { return fuse_list_of(chip, i) != nullptr; }

}  // namespace

uint8_t read_fuse_byte(uint8_t b0, uint8_t b1) {
  const uint8_t value = isp_exchange(b0, b1, 0x00, 0x00, "Read Fuses", 4);
  check_terminated();
  return value;
}

void read_fuses() {
  const chip_desc& chip = current_chip();
  fuse_read_pair* read = isp_chip.fuse_read;
  switch (chip.fuse_type) {
    case fuse_kind::byte_58:
      read[fuse_low].value = read_fuse_byte(0x58, 0x00);
      break;
    case fuse_kind::byte_50:
      read[fuse_low].value = read_fuse_byte(0x50, 0x00);
      break;
    case fuse_kind::bytes_4:
      if (has_list(chip, fuse_low)) read[fuse_low].value = read_fuse_byte(0x50, 0x00);
      if (has_list(chip, fuse_lock)) read[fuse_lock].value = read_fuse_byte(0x58, 0x00);
      if (has_list(chip, fuse_high)) read[fuse_high].value = read_fuse_byte(0x58, 0x08);
      if (has_list(chip, fuse_ext)) read[fuse_ext].value = read_fuse_byte(0x50, 0x08);
      break;
    case fuse_kind::none:
      break;
  }
}

void print_fuses(const char* title, const uint8_t values[4]) {
  const chip_desc& chip = current_chip();
  report(2, "%s\n", title);
  if (chip.osccal_count > 0) {
    report(2, "  OSCCAL%c\t=", chip.osccal_count > 1 ? 's' : ' ');
    for (int i = 0; i < chip.osccal_count; ++i) report(2, " %02X", isp_chip.osccal[i]);
    report(2, "\n");
  }
  for (int i = 0; i < 4; ++i) {
    const fuse_desc* list = fuse_list_of(chip, i);
    if (list == nullptr) continue;
    report(2, "%s = 0x%X\n", fuse_byte_name(i), values[i]);
    for (const fuse_desc* f = list; f->info != nullptr; ++f) {
      report(2, "  %-10s\t= %X\n", f->info->name, field_value(*f, values[i]));
    }
  }
}

void print_fuses(const char* title, const fuse_read_pair pairs[4]) {
  const uint8_t values[4] = {pairs[0].value, pairs[1].value, pairs[2].value, pairs[3].value};
  print_fuses(title, values);
}

void write_fuse_byte(uint8_t b1, uint8_t b3) {
  uint8_t cmd[4] = {0xAC, b1, 0x00, b3};
  uint8_t reply[4];
  current_adapter->transfer_block(cmd, reply, 4);
  current_adapter->delay(fuse_write_factor * isp_chip.eeprom_delay);
  trace_command(4, "Write Fuses", cmd, reply);
  if (reply[1] != cmd[0]) fail_sync_lost();
  check_terminated();
}

void program_fuses() {
  const chip_desc& chip = current_chip();
  report(2, "Programming fuses\n");
  for (int i = 0; i < 4; ++i) {
    fuse_request_pair& request = isp_chip.fuse_request[i];
    const fuse_read_pair& read = isp_chip.fuse_read[i];
    // Undescribed bits are written as 1, described bits keep their value unless requested.
    request.value = uint8_t(((~read.defined | read.value) & ~request.mask) | (request.mask & request.value));
  }
  const fuse_request_pair* request = isp_chip.fuse_request;
  switch (chip.fuse_type) {
    case fuse_kind::byte_58:
    case fuse_kind::byte_50:
      write_fuse_byte(uint8_t(0xA0 | (request[fuse_low].value & 0x1F)), 0x00);
      break;
    case fuse_kind::bytes_4: {
      static const struct {
        int byte;
        uint8_t instruction;
      } order[] = {{fuse_low, 0xA0}, {fuse_high, 0xA8}, {fuse_ext, 0xA4}, {fuse_lock, 0xE0}};
      for (const auto& o : order) {
        if (has_list(chip, o.byte) && request[o.byte].mask != 0) write_fuse_byte(o.instruction, request[o.byte].value);
      }
      break;
    }
    case fuse_kind::none:
      break;
  }
}

bool verify_fuses() {
  const chip_desc& chip = current_chip();
  report(2, "Verifying fuses\n");
  read_fuses();
  bool failed = false;
  for (int i = 0; i < 4; ++i) {
    const fuse_desc* list = fuse_list_of(chip, i);
    if (list == nullptr) continue;
    const uint8_t mask = isp_chip.fuse_request[i].mask;
    const uint8_t expected_byte = isp_chip.fuse_request[i].value;
    const uint8_t read_byte = isp_chip.fuse_read[i].value;
    for (const fuse_desc* f = list; f->info != nullptr; ++f) {
      if ((field_mask(*f) & mask) == 0) continue;
      const uint32_t expected = field_value(*f, expected_byte);
      const uint32_t got = field_value(*f, read_byte);
      if (expected != got) {
        report(0, "  %-8s: expected %X, read %X\n", f->info->name, expected, got);
        failed = true;
      }
    }
  }
  if (failed) {
    report(0, "Verifying of fuses failed\n");
    return false;
  }
  report(2, "passed\n");
  return true;
}

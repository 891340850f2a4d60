#include "isp/lock.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"

namespace {

const char* const lock_texts[] = {"not locked", "locked - programming disabled",
                                  "locked - reading and programming disabled"};

bool has_lock_list(const chip_desc& chip) { return chip.fuses != nullptr && chip.fuses[fuse_lock] != nullptr; }

// The two lock bits LB1 (bit 0) and LB2 (bit 1) from the Read Lock reply.
int lock_bits(lock_kind lock_type, uint8_t reply) {
  switch (lock_type) {
    case lock_kind::bits_7_6: return ((reply >> 7) & 1) | (((reply >> 6) & 1) << 1);
    case lock_kind::bits_1_2: return (reply >> 1) & 3;
    default: return reply & 3;  // lock_kind::bits_0_1
  }
}

}  // namespace

const char* lock_state_text(int state) { return state >= 0 && state <= 2 ? lock_texts[state] : "unknown"; }

void read_lock_state() {
  const chip_desc& chip = current_chip();
  if (chip.lock_type == lock_kind::unreadable) {
    isp_chip.lock_state = -1;
    return;
  }
  static const int state_of_bits[4] = {2, 2, 1, 0};
  const uint8_t reply = isp_exchange(0x58, 0x00, 0x00, 0x00, "Read Lock", 4);
  isp_chip.lock_state = state_of_bits[lock_bits(chip.lock_type, reply)];
}

void print_lock_state() {
  if (isp_chip.lock_state == -1) {
    report(2, "Lock state unknown\n");
  } else {
    report(2, "Chip %s\n", lock_state_text(isp_chip.lock_state));
  }
}

bool lock_allowed() {
  const chip_desc& chip = current_chip();
  if (chip.fuse_type != fuse_kind::bytes_4 || !has_lock_list(chip)) return true;
  const fuse_request_pair& request = isp_chip.fuse_request[fuse_lock];
  return (uint8_t(~isp_chip.fuse_read[fuse_lock].value) & request.value & request.mask) == 0;
}

char lock_chip(char level) {
  const chip_desc& chip = current_chip();
  const bool level1 = level < '2';
  uint8_t cmd[4];
  if (chip.lock_type == lock_kind::bits_0_1) {
    const uint8_t m = level1 ? 0x01 : 0x03;
    uint8_t v;
    if (has_lock_list(chip)) {
      // Keep the boot lock bits as they are.
      const uint8_t now = isp_exchange(0x58, 0x00, 0x00, 0x00, "BLB* read", 3);
      v = uint8_t((now & ~m) | 0xC0);
    } else {
      v = uint8_t(~m);
    }
    cmd[0] = 0xAC;
    cmd[1] = 0xE0;
    cmd[2] = 0x00;
    cmd[3] = v;
  } else {
    cmd[0] = 0xAC;
    cmd[1] = level1 ? 0xFD : 0xF9;
    cmd[2] = 0x00;
    cmd[3] = 0x00;
  }
  uint8_t reply[4];
  isp_exchange(cmd, reply, "Lock chip", 4);
  current_adapter->delay(isp_chip.erase_wait);
  return level > '2' ? '2' : level;
}

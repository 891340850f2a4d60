#include "isp/write_wait.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "driver/signals.h"
#include "driver/timer.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"
#include "isp/memory_read.h"

namespace {

// Polling gives up after four times the write's own delay.
constexpr float poll_timeout_factor = 4;

bool unpollable(uint8_t value) { return value == isp_chip.unpollable[0] || value == isp_chip.unpollable[1]; }

// Both polls check for termination before every poll instruction, so a signal
// stops the run at once, ahead of the poll's own timeout.
bool poll_until_value(int32_t addr, uint8_t value, float delay_ms) {
  timer limit;
  limit.set_delay_ms(poll_timeout_factor * delay_ms);
  for (;;) {
    check_terminated();
    if (limit.delay_passed()) return false;
    if (read_byte(addr) == value) return true;
  }
}

bool poll_ready_busy_bit(float delay_ms) {
  timer limit;
  limit.set_delay_ms(poll_timeout_factor * delay_ms);
  for (;;) {
    check_terminated();
    if (limit.delay_passed()) return false;
    if ((isp_exchange(0xF0, 0x00, 0xFF, 0x00) & 0x01) == 0) return true;
  }
}

}  // namespace

bool wait_write(int32_t addr, uint8_t value, float delay_ms) {
  switch (isp_chip.poll_mode) {
    case poll_data:
      if (addr == -1 || unpollable(value)) break;
      return poll_until_value(addr, value, delay_ms);
    case poll_ready_busy:
      return poll_ready_busy_bit(delay_ms);
    default:
      break;
  }
  current_adapter->delay(delay_ms);
  return true;
}

void setup_polling(int kind) {
  isp_chip.page_fill = 0;
  if (settings.write_flags & write_flag_polling) {
    isp_chip.poll_address = -1;
    const chip_desc& chip = current_chip();
    const poll_kind method = kind == mem_code ? chip.flash_poll : chip.eeprom_poll;
    auto unpollable_pair = [](uint8_t a, uint8_t b) {
      isp_chip.unpollable[0] = a;
      isp_chip.unpollable[1] = b;
      isp_chip.poll_mode = poll_data;
    };
    switch (method) {
      case poll_kind::not_00_ff: unpollable_pair(0x00, 0xFF); break;
      case poll_kind::not_7f_80: unpollable_pair(0x7F, 0x80); break;
      case poll_kind::not_7f: unpollable_pair(0x7F, 0x7F); break;
      case poll_kind::not_ff: unpollable_pair(0xFF, 0xFF); break;
      case poll_kind::rdy_bsy: isp_chip.poll_mode = poll_ready_busy; break;
      case poll_kind::none:
        report(1, "Warning: can't use write polling for %s of %s\n", memory_kind_name(kind),
               chip_display_name(current_chip_index()));
        isp_chip.poll_mode = poll_delay;
        break;
    }
  }
  isp_chip.last_loaded = -1;
}

#include "isp/identify.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "driver/signals.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"

namespace {

constexpr uint8_t enable_echo = 0x53;
constexpr int max_sck_resync = 32;
constexpr int max_reset_resync = 4;

// Programming Enable until the chip answers in step; the chip's flags choose
// between SCK pulses (which move the chip's bit alignment) and reset pulses.
void synchronise(const chip_desc& chip) {
  uint8_t echo = program_enable();
  if (echo == enable_echo) {
    report(3, "\t%% Synchronised after %d try\n", 1);
    return;
  }
  const bool by_sck = (chip.flags & chip_resync_by_sck) != 0;
  for (int attempt = 1;; ++attempt) {
    check_terminated();
    if (by_sck) {
      if (attempt > max_sck_resync) fail(status_sync_lost, "Can't resync\n");
      report(4, "\t%% Try %d to resync by SCK pulse", attempt);
      current_adapter->sck_pulse();
    } else {
      if (attempt > max_reset_resync) fail(status_sync_lost, "Can't resync\n");
      report(4, "\t%% Try %d to resync by reset pulse", attempt);
      current_adapter->reset_pulse();
    }
    echo = program_enable();
    if (echo == enable_echo) {
      report(3, "\t%% Synchronised after %d try\n", attempt + 1);
      return;
    }
  }
}

uint32_t read_signature() {
  uint32_t id = 0;
  for (uint8_t i = 0; i < 3; ++i) {
    uint8_t buf[4] = {0x30, 0x00, i, 0x00};
    current_adapter->transfer_block(buf, buf, 4);
    trace_reply("GetID reply", buf);
    if (buf[1] != 0x30) fail_sync_lost();
    id = (id << 8) | buf[3];
    check_terminated();
  }
  return id;
}

// The last record with the signature, unless one of them carries the
// requested name (tiny22 and tiny22L share one signature).
int lookup_signature(uint32_t id) {
  int found = -1;
  for (int i = 0; i < chip_count; ++i) {
    if (chip_table[i].signature != id) continue;
    found = i;
    if (settings.requested_chip != nullptr && chip_name_matches(settings.requested_chip, chip_table[i].name)) break;
  }
  return found;
}

}  // namespace

void synchronise_and_identify() {
  report(3, "\t%% Reset\n");
  current_adapter->set_reset(true);
  current_adapter->delay(isp_chip.reset_delay);
  current_adapter->reset_pulse();
  current_adapter->delay(isp_chip.reset_delay);

  const int sync_index = settings.requested_chip != nullptr ? find_chip(settings.requested_chip) : -1;
  if (sync_index < 0 || (chip_table[sync_index].flags & chip_no_sync_loop) != 0) {
    program_enable();  // answer not compared for these chips
  } else {
    synchronise(chip_table[sync_index]);
  }

  const uint32_t id = read_signature();
  report(3, "\t%% Read ID: 0x%06X\n", id);
  isp_chip.chip_index = lookup_signature(id);

  report(2, "Device connected, ");
  if (isp_chip.chip_index >= 0) {
    report(2, "%s detected\n", chip_table[isp_chip.chip_index].name);
  } else {
    report(2, "but not recognised, ID: 0x%06X%s\n", id, id == protected_signature ? " (looks as protected)" : "");
  }
}

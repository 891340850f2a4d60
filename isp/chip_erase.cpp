#include "isp/chip_erase.h"

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "isp/current_chip.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"
#include "isp/lock.h"
#include "isp/memory_write.h"

void erase_command() {
  uint8_t buf[4] = {0xAC, 0x80, 0x00, 0x00};
  current_adapter->transfer_block(buf, buf, 4);
  trace_reply("Erase reply", buf);
  if (buf[1] != 0xAC) fail_sync_lost();
  current_adapter->delay(isp_chip.erase_wait);
  current_adapter->set_reset(false);
  current_adapter->delay(isp_chip.reset_inactive_time);
  current_adapter->set_reset(true);
}

void chip_erase() {
  if (current_chip().flags & chip_erase_bug) {
    // This chip needs a first erase, a written byte and a second erase.
    report(3, "%s erase bug correction\n", current_chip().name);
    erase_command();
    synchronise_and_identify();
    isp_chip.memory = mem_code;
    write_cell(0, 0xFF);  // not yet marked erased, so the byte is really written
  }
  erase_command();
  report(2, "Device erased\n");
  synchronise_and_identify();
  read_lock_state();
  isp_chip.erased = true;
}

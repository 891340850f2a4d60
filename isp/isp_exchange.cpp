#include "isp/isp_exchange.h"

#include <cstring>

#include "adapter/spi_adapter.h"
#include "driver/messages.h"

void trace_command(uint8_t level, const char* title, const uint8_t cmd[4], const uint8_t reply[4]) {
  report(level, "\t%% %s\tcommand %02X %02X %02X %02X,  reply %02X %02X %02X %02X\n", title, cmd[0], cmd[1],
         cmd[2], cmd[3], reply[0], reply[1], reply[2], reply[3]);
}

void trace_reply(const char* title, const uint8_t reply[4]) {
  report(3, "\t%% %s  %02X %02X %02X %02X\n", title, reply[0], reply[1], reply[2], reply[3]);
}

void isp_exchange(const uint8_t cmd[4], uint8_t reply[4], const char* trace_title, uint8_t trace_level) {
  uint8_t sent[4];
  memcpy(sent, cmd, 4);  // reply may overwrite cmd
  current_adapter->transfer_block(sent, reply, 4);
  if (trace_title != nullptr) trace_command(trace_level, trace_title, sent, reply);
  if (reply[1] != sent[0]) fail_sync_lost();
}

uint8_t isp_exchange(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3, const char* trace_title, uint8_t trace_level) {
  uint8_t buf[4] = {b0, b1, b2, b3};
  isp_exchange(buf, buf, trace_title, trace_level);
  return buf[3];
}

uint8_t program_enable() {
  uint8_t buf[4] = {0xAC, 0x53, 0x00, 0x00};
  current_adapter->transfer_block(buf, buf, 4);
  trace_reply("PgmOn reply", buf);
  return buf[2];
}

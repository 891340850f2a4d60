// Waiting for a FLASH, EEPROM or page write to finish: the full delay, data
// polling or RDY/BSY polling, and the choice between them before a memory is
// programmed. Used by the writers and the memory operations.
#pragma once

#include <cstdint>

// False when polling ran out (four times delay_ms).
bool wait_write(int32_t addr, uint8_t value, float delay_ms);
// kind 0 FLASH, 1 EEPROM: picks isp_chip.poll_mode from the chip's polling method.
void setup_polling(int kind);

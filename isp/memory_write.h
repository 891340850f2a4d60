// Writing the chip's FLASH and EEPROM one byte at a time: the byte writer
// (EEPROM, unpaged FLASH) and the FLASH page writer that keeps words complete
// and writes a page when a byte of the next one arrives. Used by the memory
// operations and the chip erase.
#pragma once

#include <cstdint>

// Writes one byte of the memory selected by isp_chip.memory through its writer.
void write_cell(int32_t addr, uint8_t value);
// The two write routines of isp_chip.writer.
void write_byte(int32_t addr, uint8_t value);
void page_write_byte(int32_t addr, uint8_t value);  // addresses ascending
// Writes the page buffer as the FLASH page holding addr (the last loaded byte).
void write_flash_page(int32_t addr);
// Queues one Load Program Memory Page instruction.
void load_page_byte(int32_t addr, uint8_t value);
void reset_page_buffer();

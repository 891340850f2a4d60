// Reading the chip's FLASH and EEPROM: runs of bytes batched into one adapter
// transfer on block-mode adapters, byte-wise on the others, with Load Extended
// Address above 128 KB. Used by the memory operations and by data polling.
#pragma once

#include <cstdint>

// FLASH bytes per Load Extended Address value: 128 KB, 2^17.
constexpr int extended_segment_bits = 17;
constexpr int32_t extended_segment = int32_t(1) << extended_segment_bits;

void read_flash(uint8_t* buf, int32_t addr, int32_t len);
void read_eeprom(uint8_t* buf, int32_t addr, int32_t len);
// One byte of the memory selected by isp_chip.memory (no Load Extended Address).
uint8_t read_byte(int32_t addr);
// Sends 4D 00 e 00.
void load_extended_address(uint8_t e);
// The Load Extended Address operand that selects the bank of a FLASH byte
// address: bits 16-23 of its word address.
inline uint8_t extended_address_of(int32_t addr) { return uint8_t(addr >> extended_segment_bits); }

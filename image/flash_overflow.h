// Splitting a single HEX file between the two images: what lies beyond the
// chip's FLASH belongs to the EEPROM. Used when the input files are loaded.
#pragma once

#include <cstdint>

#include "image/mem_image.h"

// Moves every byte of `code` at or beyond `flash_bytes` to `data`, address
// flash_bytes + n becoming n; a block straddling the limit is split in two.
void move_flash_overflow(mem_image& code, mem_image& data, int32_t flash_bytes);

// Loading the run's input HEX files into the code and data images; called once
// by the program entry before the adapter is powered up.
#pragma once

#include <cstdint>

#include "image/mem_image.h"

// Reads the code file, then the data file, when the run writes or verifies;
// then, for a single bare file name, moves what lies beyond the current chip's
// FLASH into the data image.
void load_input_files();

// Moves every byte of `code` at or beyond `flash_bytes` to `data`, address
// flash_bytes + n becoming n; a block straddling the limit is split in two.
void move_flash_overflow(mem_image& code, mem_image& data, int32_t flash_bytes);

// The two memory images of the run, alive for the whole process: the code
// image (FLASH) and the data image (EEPROM), indexed by memory kind as well.
// The input files fill them; the programming run programs and verifies them.
#pragma once

#include "driver/messages.h"  // memory_kind: mem_code, mem_data
#include "image/mem_image.h"

extern mem_image memory_images[2];  // [mem_code], [mem_data]
extern mem_image& code_image;        // memory_images[mem_code]
extern mem_image& data_image;        // memory_images[mem_data]

// Applying the special data commands to the images during a run: OSCCAL from
// the chip's calibration bytes, the serial number from its file, BYTES; and
// advancing the serial number file after a successful write run.
#pragma once

#include <cstdint>

#include "programming/cell_commands.h"

void check_destination(const char* name, cell_mode mode, uint32_t address, int size);
void insert_cells(const char* name, cell_mode mode, uint32_t address, const uint8_t* bytes, int count);

void insert_osccal_cell();
void insert_serial_number_cell();
void insert_bytes_cell();
void finish_serial_number_file();

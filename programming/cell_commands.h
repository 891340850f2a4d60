// The special data commands (-c*, -c?, -d*): OSCCAL, SERNO and BYTES cells
// that the run patches into the images just before writing or verifying.
// The command line fills special_commands; the programming run reads it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Where a command's bytes go.
enum cell_mode : uint8_t {
  cell_none = 0,      // command not given
  cell_code = 1,      // "C*": code image, one byte per value byte
  cell_code_ldi = 2,  // "C?": code image, each value byte split over the K nibbles of an LDI (two image bytes)
  cell_data = 3,      // "D*": data image, one byte per value byte
};

constexpr uint32_t no_cell_address = 0xFFFFFFFF;

// OSCCAL<index>=<address>[,<correction>]: calibration byte <index> read from the chip, plus the correction.
struct osccal_cell {
  cell_mode mode = cell_none;
  int index = 0;
  uint32_t address = no_cell_address;
  int correction = 0;
};

// SERNO<length>=<address>,<file>: the first <length> bytes (little-endian) of the number kept in <file>.
struct serno_cell {
  cell_mode mode = cell_none;
  int length = 0;
  uint32_t address = no_cell_address;
  std::string file;
};

// BYTES<count>=<address>,<hex digits>: a fixed byte string, first byte first.
struct bytes_cell {
  cell_mode mode = cell_none;
  int count = 0;
  uint32_t address = no_cell_address;
  std::vector<uint8_t> data;  // count bytes
};

struct special_cells {
  osccal_cell osccal;
  serno_cell serno;
  bytes_cell bytes;
};

// Process-wide, filled while the command line is parsed.
extern special_cells special_commands;

// text is the switch text from the letter on, e.g. "c*OSCCAL1=1FFE,-2".
// Refusals print their message and throw app_error 70.
void parse_special_command(const char* text);

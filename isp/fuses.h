// Reading, printing, programming and verifying the chip's fuse bytes for the
// four fuse layouts of the device table. Called by the programming run.
#pragma once

#include <cstdint>

#include "isp/isp_chip.h"

// Sends b0 b1 00 00; returns reply byte 3.
uint8_t read_fuse_byte(uint8_t b0, uint8_t b1);
// Fills isp_chip.fuse_read[i].value for the bytes the chip has.
void read_fuses();
// The read-out: title, OSCCAL bytes, each fuse byte and its fields.
void print_fuses(const char* title, const uint8_t values[4]);
void print_fuses(const char* title, const fuse_read_pair pairs[4]);
// Sends AC b1 00 b3 and waits four times the EEPROM write delay.
void write_fuse_byte(uint8_t b1, uint8_t b3);
// Computes the new bytes into isp_chip.fuse_request[i].value and writes them;
// read_fuses() must have run.
void program_fuses();
// Reads the fuses back and compares every requested field; false on a difference.
bool verify_fuses();

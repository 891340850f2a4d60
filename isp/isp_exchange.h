// The four-byte ISP instruction exchange with the chip through the current
// adapter, its echo check and debug traces. Everything in the chip access
// layer that sends a single instruction goes through here.
#pragma once

#include <cstdint>

// Sends cmd, receives reply (may be the same buffer), prints the trace when
// trace_title is given, then checks that reply[1] echoes cmd[0]
// ("Synchronisation lost", status 40, otherwise).
void isp_exchange(const uint8_t cmd[4], uint8_t reply[4], const char* trace_title = nullptr,
                  uint8_t trace_level = 4);
// The same for an instruction given byte by byte; returns reply byte 3.
uint8_t isp_exchange(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3, const char* trace_title = nullptr,
                     uint8_t trace_level = 4);

void trace_command(uint8_t level, const char* title, const uint8_t cmd[4], const uint8_t reply[4]);
void trace_reply(const char* title, const uint8_t reply[4]);

// Programming Enable (AC 53 00 00); returns reply byte 2, 0x53 when in step.
uint8_t program_enable();

// Opening the parallel port named by the -p value: a parport device path, an
// LPT number 1..3 or a base address (hexadecimal); LPT2 without a value.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lpt/lpt_port.h"

std::unique_ptr<lpt_port> open_lpt_port(const char* port_text);

// The port the -p value names, without opening it: a device path (path set)
// or a base address. Bad values are reported and thrown as app_error(70).
struct lpt_port_choice {
  std::string path;
  uint32_t base = 0;
};
lpt_port_choice parse_lpt_port_option(const char* port_text);

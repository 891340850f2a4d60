// The factory of the FTDI MPSSE adapters ("ft2232", "ft2232h", "ft4232h" with
// an optional pin configuration). create_adapter hands FTDI names to it.
#pragma once

#include <memory>

#include "adapter/adapter_options.h"
#include "adapter/spi_adapter.h"

// adapter_text: the -a value ("ft2232h:key=cbus4" ...); port_text: the -p value
// or null. "-p?" lists the FTDI devices and ends the run with app_error(0).
std::unique_ptr<spi_adapter> create_ft2232_adapter(const char* adapter_text, const char* port_text,
                                                   const adapter_options& options);

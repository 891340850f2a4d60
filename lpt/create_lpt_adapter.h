// The factory of the parallel-port adapters: the -a letter (default, b, s, a,
// x or a user map after m), the port from the -p value, detection of the
// buffered adapters, the wiring and the SCK timing.
#pragma once

#include <functional>
#include <memory>

#include "adapter/adapter_options.h"
#include "adapter/spi_adapter.h"
#include "lpt/lpt_port.h"

std::unique_ptr<spi_adapter> create_lpt_adapter(const char* adapter_text, const char* port_text,
                                                const adapter_options& options);

// The same with the port opened by open_port (given the -p value) instead of
// the real parallel port; the seam the tests use.
using lpt_port_opener = std::function<std::unique_ptr<lpt_port>(const char* port_text)>;
std::unique_ptr<spi_adapter> create_lpt_adapter(const char* adapter_text, const char* port_text,
                                                const adapter_options& options, const lpt_port_opener& open_port);

// SCK setup and hold (microseconds) for an oscillator or SCK frequency in Hz,
// from the chip's minimum SCK low and high times in oscillator periods.
struct sck_phases {
  float setup_us;
  float hold_us;
};
sck_phases sck_phases_for(uint32_t frequency, bool frequency_is_sck, int low_clocks, int high_clocks);

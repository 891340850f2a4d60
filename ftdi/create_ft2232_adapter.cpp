#include "ftdi/create_ft2232_adapter.h"

#include <algorithm>
#include <stdexcept>

#include "driver/messages.h"
#include "driver/timer.h"
#include "ftdi/ft2232_adapter.h"
#include "ftdi/ft2232_pin_map.h"
#include "ftdi/ftdi_port_option.h"
#include "ftdi/open_ftdi_device.h"

namespace {
const int unit_mhz = 1;  // index of MHz in the frequency units
}

std::unique_ptr<spi_adapter> create_ft2232_adapter(const char* adapter_text, const char* port_text,
                                                   const adapter_options& options) {
  if (options.clock_frequency == 0) fail(status_usage, "FT2232/FT4232 hardware SPI adapter can't generate XTAL\n");

  uint32_t type = 0;
  std::unique_ptr<pin_map> map = ft2232_pin_map(adapter_text, type);

  ftdi_device_request request;
  request.type = type;
  parse_ftdi_port_option(port_text, request);
  std::unique_ptr<ftdi_device> device = open_ftdi_device(request);

  uint32_t requested_hz;
  if (options.clock_is_sck) {
    requested_hz = options.clock_frequency;
  } else {
    if (!options.chip_known) throw std::logic_error("No chip known yet");
    const uint32_t clocks = static_cast<uint32_t>(std::max(options.sck_low_clocks, options.sck_high_clocks));
    requested_hz = (options.clock_frequency - options.clock_frequency / 20) / (2 * clocks);
  }

  auto adapter = std::make_unique<ft2232_adapter>(std::move(device), std::move(map), type, requested_hz,
                                                  options.outputs_off_after);
  report(3, "\t%% %s SPI adapter created, SCK frequency %s\n", adapter->name(),
         format_frequency(adapter->sck_frequency(), unit_mhz));
  return adapter;
}

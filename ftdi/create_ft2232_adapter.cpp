#include "ftdi/create_ft2232_adapter.h"

#include <strings.h>

#include <algorithm>

#include "adapter/pin_map.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "driver/settings.h"
#include "driver/timer.h"
#include "ftdi/d2xx_api.h"
#include "ftdi/ft2232_adapter.h"
#include "ftdi/ftdi_port_option.h"
#include "ftdi/open_ftdi_device.h"

namespace {

// Every pin can be an input or an output, none is inverted by the chip.
const pin_desc ft2232c_pins[] = {
    {"adbus0", 0x0001, 0, 3}, {"adbus1", 0x0002, 0, 3}, {"adbus2", 0x0004, 0, 3}, {"adbus3", 0x0008, 0, 3},
    {"adbus4", 0x0010, 0, 3}, {"adbus5", 0x0020, 0, 3}, {"adbus6", 0x0040, 0, 3}, {"adbus7", 0x0080, 0, 3},
    {"acbus0", 0x0100, 0, 3}, {"acbus1", 0x0200, 0, 3}, {"acbus2", 0x0400, 0, 3}, {"acbus3", 0x0800, 0, 3},
    {nullptr, 0, 0, 0},
};

const pin_desc ft2232h_pins[] = {
    {"dbus0", 0x0001, 0, 3}, {"dbus1", 0x0002, 0, 3}, {"dbus2", 0x0004, 0, 3}, {"dbus3", 0x0008, 0, 3},
    {"dbus4", 0x0010, 0, 3}, {"dbus5", 0x0020, 0, 3}, {"dbus6", 0x0040, 0, 3}, {"dbus7", 0x0080, 0, 3},
    {"cbus0", 0x0100, 0, 3}, {"cbus1", 0x0200, 0, 3}, {"cbus2", 0x0400, 0, 3}, {"cbus3", 0x0800, 0, 3},
    {"cbus4", 0x1000, 0, 3}, {"cbus5", 0x2000, 0, 3}, {"cbus6", 0x4000, 0, 3}, {"cbus7", 0x8000, 0, 3},
    {nullptr, 0, 0, 0},
};

// The FT4232H channels have the low byte only.
const pin_desc ft4232h_table[] = {
    {"dbus0", 0x0001, 0, 3}, {"dbus1", 0x0002, 0, 3}, {"dbus2", 0x0004, 0, 3}, {"dbus3", 0x0008, 0, 3},
    {"dbus4", 0x0010, 0, 3}, {"dbus5", 0x0020, 0, 3}, {"dbus6", 0x0040, 0, 3}, {"dbus7", 0x0080, 0, 3},
    {nullptr, 0, 0, 0},
};

// What the user's configuration leaves undefined: MOSI, MISO, SCK on the
// MPSSE data pins and RESET on bit 3.
pin_map mpsse_default_map() {
  pin_map map;
  map.set_name("FT2232 MPSSE");
  map.signals[signal_mosi].active_bits = 0x02;
  map.signals[signal_miso].active_bits = 0x04;
  map.signals[signal_sck].active_bits = 0x01;
  map.signals[signal_reset].active_bits = 0x08;
  return map;
}

const int unit_mhz = 1;  // index of MHz in the frequency units

}  // namespace

std::unique_ptr<spi_adapter> create_ft2232_adapter(const char* adapter_text, const char* port_text) {
  if (settings.clock_frequency == 0) fail(status_usage, "FT2232/FT4232 hardware SPI adapter can't generate XTAL\n");

  uint32_t type = FT_DEVICE_2232C;
  const pin_desc* table = ft2232c_pins;
  if (strncasecmp(adapter_text, "ft2232h", 7) == 0) {
    type = FT_DEVICE_2232H;
    table = ft2232h_pins;
  } else if (strncasecmp(adapter_text, "ft4232h", 7) == 0) {
    type = FT_DEVICE_4232H;
    table = ft4232h_table;
  }

  auto map = std::make_unique<pin_map>();
  load_pin_map(*map, adapter_text, table);
  fill_missing(*map, mpsse_default_map());

  if (map->signals[signal_mosi].all() != 0x02 || map->signals[signal_miso].all() != 0x04 ||
      map->signals[signal_sck].all() != 0x01)
    fail(status_usage, "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n");

  // Asserting reset drives a non-inverted reset pin low.
  std::swap(map->signals[signal_reset].active_bits, map->signals[signal_reset].inactive_bits);

  ftdi_device_spec request;
  request.type = type;
  parse_ftdi_port_option(port_text, request);
  std::unique_ptr<ftdi_device> device = open_ftdi_device(request);

  uint32_t requested_hz;
  if (settings.clock_is_sck) {
    requested_hz = settings.clock_frequency;
  } else {
    int low_clocks = 0, high_clocks = 0;
    sck_timing(low_clocks, high_clocks);
    const uint32_t clocks = static_cast<uint32_t>(std::max(low_clocks, high_clocks));
    requested_hz = (settings.clock_frequency - settings.clock_frequency / 20) / (2 * clocks);
  }

  auto adapter = std::make_unique<ft2232_adapter>(std::move(device), std::move(map), type, requested_hz,
                                                  settings.outputs_off_after);
  report(3, "\t%% %s SPI adapter created, SCK frequency %s\n", adapter->name(),
         format_frequency(adapter->sck_frequency(), unit_mhz));
  return adapter;
}

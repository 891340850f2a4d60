#include "ftdi/ft2232_pin_map.h"

#include <strings.h>

#include <utility>

#include "driver/messages.h"
#include "ftdi/d2xx_api.h"

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
const pin_desc ft4232h_pins[] = {
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

}  // namespace

std::unique_ptr<pin_map> ft2232_pin_map(const char* adapter_text, uint32_t& device_type) {
  device_type = FT_DEVICE_2232C;
  const pin_desc* table = ft2232c_pins;
  if (strncasecmp(adapter_text, "ft2232h", 7) == 0) {
    device_type = FT_DEVICE_2232H;
    table = ft2232h_pins;
  } else if (strncasecmp(adapter_text, "ft4232h", 7) == 0) {
    device_type = FT_DEVICE_4232H;
    table = ft4232h_pins;
  }

  auto map = std::make_unique<pin_map>();
  load_pin_map(*map, adapter_text, table);
  fill_missing(*map, mpsse_default_map());

  if (map->signals[signal_mosi].all() != 0x02 || map->signals[signal_miso].all() != 0x04 ||
      map->signals[signal_sck].all() != 0x01)
    fail(status_usage, "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n");

  // Asserting reset drives a non-inverted reset pin low.
  std::swap(map->signals[signal_reset].active_bits, map->signals[signal_reset].inactive_bits);
  return map;
}

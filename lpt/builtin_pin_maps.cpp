#include "lpt/builtin_pin_maps.h"

namespace {

void set(pin_map& map, int signal, uint32_t active, uint32_t inactive = 0) {
  map.signals[signal] = {active, inactive};
}

// The lines every ByteBlaster shares: mosi=D6, miso=BUSY, sck=D0, reset=D1.
void fill_byteblaster_common(pin_map& map) {
  set(map, signal_mosi, 0x40);
  set(map, signal_miso, 0, 0x8000);
  set(map, signal_sck, 0x01);
  set(map, signal_reset, 0x02);
}

}  // namespace

// mosi=D5, miso=ACK, sck=D6, reset=D4, xtal=D3 [, power=D0,D1,D2,D7]
void fill_kaldo_map(pin_map& map, bool power_from_data) {
  map.set_name("KALDO");
  set(map, signal_mosi, 0x20);
  set(map, signal_miso, 0x4000);
  set(map, signal_sck, 0x40);
  set(map, signal_reset, 0x10);
  set(map, signal_xtal, 0x08);
  if (power_from_data) set(map, signal_power, 0x87);
}

// mosi=D5, miso=ACK, sck=D4, reset=D7, enable=~D2,~D3 and ~D6 or xtal=D6
void fill_stk_map(pin_map& map, bool generate_clock) {
  map.set_name("STK");
  set(map, signal_mosi, 0x20);
  set(map, signal_miso, 0x4000);
  set(map, signal_sck, 0x10);
  set(map, signal_reset, 0x80);
  if (generate_clock) {
    set(map, signal_enable, 0, 0x0C);
    set(map, signal_xtal, 0x40);
  } else {
    set(map, signal_enable, 0, 0x4C);
  }
}

// ... xtal=D3, enable=~ALF
void fill_byteblaster_map(pin_map& map) {
  map.set_name("ByteBlaster");
  fill_byteblaster_common(map);
  set(map, signal_xtal, 0x08);
  set(map, signal_enable, 0x020000);
}

// ... xtal=D2, enable=D4,D5,D7,INIT,STROBE,ALF,SELECT
void fill_byteblaster2_map(pin_map& map) {
  map.set_name("ByteBlasterII");
  fill_byteblaster_common(map);
  set(map, signal_xtal, 0x04);
  set(map, signal_enable, 0x0400B0, 0x0B0000);
}

// mosi=D0, miso=ONLINE, sck=D1, reset=D2, set=D4, enable=~D3
void fill_xilinx_map(pin_map& map) {
  map.set_name("XILINX");
  set(map, signal_mosi, 0x01);
  set(map, signal_miso, 0x1000);
  set(map, signal_sck, 0x02);
  set(map, signal_reset, 0x04);
  set(map, signal_set, 0x10);
  set(map, signal_enable, 0, 0x08);
}

// Which FTDI pins the simulated chip hangs on, by default and with a pin map.
#include <gtest/gtest.h>

#include "sim/ftdi/ftdi_wiring.h"

namespace {

using vt::ftdi_chip;
using vt::ftdi_wiring;

TEST(FtdiWiring, PinNames) {
  const struct {
    const char* name;
    int bit;
  } rows[] = {{"adbus0", 0}, {"ADBUS7", 7}, {"acbus3", 11}, {"dbus5", 5}, {" CBus7 ", 15},
              {"adbus8", -1}, {"D5", -1},   {"bdbus0", -1}, {"cbus", -1}};
  for (const auto& r : rows) EXPECT_EQ(ftdi_wiring::pin_bit(r.name), r.bit) << r.name;
}

TEST(FtdiWiring, DefaultPinsAndMapsDriveTheTargetLines) {
  struct row {
    const char* wiring;
    const char* map;
    ftdi_chip chip;
    uint16_t latch, dir;
    bool reset, sck, mosi, power, led_ok;
  };
  const row rows[] = {
      // MPSSE pins: SCK ADBUS0, MOSI ADBUS1, RESET ADBUS3; inputs float high.
      {"kaldo", "", ftdi_chip::ft2232h, 0x0003, 0x000B, false, true, true, false, false},
      {"kaldo", "", ftdi_chip::ft2232h, 0x0000, 0x0000, true, true, true, false, false},
      // Parallel-port entries are not ours; FTDI ones move the lines.
      {"map", "mosi=D5:reset=~adbus4:power=acbus0,acbus1", ftdi_chip::ft2232c, 0x0318, 0x031B, false, false, false, true,
       false},
      {"map", "reset=adbus4:power=acbus0,acbus1", ftdi_chip::ft2232c, 0x0100, 0x0313, false, false, false, false,
       false},
      // A pin the chip does not have connects to nothing; SCK and MOSI float high.
      {"map", "led_ok=acbus5", ftdi_chip::ft2232c, 0x2000, 0x2000, true, true, true, false, false},
      {"map", "led_ok=cbus5", ftdi_chip::ft2232h, 0x2000, 0x2000, true, true, true, false, true},
  };
  for (const row& r : rows) {
    ftdi_wiring w;
    std::string error;
    ASSERT_TRUE(w.configure(r.wiring, r.map, r.chip, error)) << error;
    vt::adapter_lines l = w.outputs(r.latch, r.dir);
    EXPECT_EQ(l.reset, r.reset) << r.map;
    EXPECT_EQ(l.sck, r.sck) << r.map;
    EXPECT_EQ(l.mosi, r.mosi) << r.map;
    EXPECT_EQ(l.power, r.power) << r.map;
    EXPECT_EQ(l.led_ok, r.led_ok) << r.map;
  }
}

TEST(FtdiWiring, MisoAndKeyInputs) {
  ftdi_wiring w;
  std::string error;
  ASSERT_TRUE(w.configure("", "", ftdi_chip::ft2232h, error));
  EXPECT_EQ(w.inputs(false, true), 0xFFFB);
  ASSERT_TRUE(w.configure("map", "miso=adbus5:key=~cbus4", ftdi_chip::ft2232h, error));
  EXPECT_EQ(w.inputs(false, false), 0xFFDF);
  EXPECT_EQ(w.inputs(true, true), 0xEFFF);
  EXPECT_FALSE(w.configure("map", "reset=adbus4:sck=adbus4", ftdi_chip::ft2232h, error));
}

}  // namespace

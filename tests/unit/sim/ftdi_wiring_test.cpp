// Which FTDI pins the simulated chip hangs on, by default and with a pin map.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "sim/ftdi/ftdi_wiring.h"

namespace {

using vt::ftdi_chip;

TEST(FtdiWiring, PinsAndMapsDriveTheTargetLines) {
  const std::pair<const char*, int> names[] = {{"ADBUS7", 7}, {" CBus7 ", 15}, {"acbus3", 11}, {"adbus8", -1},
                                               {"D5", -1},     {"bdbus0", -1},  {"cbus", -1}};
  for (auto [name, bit] : names) EXPECT_EQ(vt::ftdi_wiring::pin_bit(name), bit) << name;
  const struct {
    const char *wiring, *map;
    ftdi_chip chip;
    uint16_t latch, dir;
    bool reset, sck, mosi, power, led_ok;
  } rows[] = {
      // SCK ADBUS0, MOSI ADBUS1, RESET ADBUS3; pins that are not outputs float high.
      {"kaldo", "", ftdi_chip::ft2232h, 0x0003, 0x000B, false, true, true, false, false},
      {"kaldo", "", ftdi_chip::ft2232h, 0x0000, 0x0000, true, true, true, false, false},
      // Parallel-port entries are not ours; FTDI ones move the lines.
      {"map", "mosi=D5:reset=~adbus4:power=acbus0,acbus1", ftdi_chip::ft2232c, 0x0318, 0x031B, false, false, false, true,
       false},
      // A pin the chip does not have (CBUS5 of an FT2232C) connects to nothing.
      {"map", "led_ok=acbus5", ftdi_chip::ft2232c, 0x2000, 0x2000, true, true, true, false, false},
      {"map", "led_ok=cbus5", ftdi_chip::ft2232h, 0x2000, 0x2000, true, true, true, false, true},
  };
  for (const auto& r : rows) {
    vt::ftdi_wiring w;
    std::string error;
    ASSERT_TRUE(w.configure(r.wiring, r.map, r.chip, error)) << error;
    const vt::adapter_lines l = w.outputs(r.latch, r.dir);
    EXPECT_EQ((std::vector<bool>{l.reset, l.sck, l.mosi, l.power, l.led_ok}),
              (std::vector<bool>{r.reset, r.sck, r.mosi, r.power, r.led_ok})) << r.map;
  }
}

TEST(FtdiWiring, MisoAndKeyInputs) {
  vt::ftdi_wiring w;
  std::string error;
  ASSERT_TRUE(w.configure("", "", ftdi_chip::ft2232h, error));
  EXPECT_EQ(w.inputs(false, true), 0xFFFB);
  ASSERT_TRUE(w.configure("map", "miso=adbus5:key=~cbus4", ftdi_chip::ft2232h, error));
  EXPECT_EQ(w.inputs(false, false), 0xFFDF);
  EXPECT_EQ(w.inputs(true, true), 0xEFFF);
  EXPECT_FALSE(w.configure("map", "reset=adbus4:sck=adbus4", ftdi_chip::ft2232h, error));
}

}  // namespace

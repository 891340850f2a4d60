// Where the chip's lines hang: parallel-port registers with the port's electrical
// inversions, inverted pins and buffers; FTDI pins by default and with a pin map.
// (The built-in LPT wirings and their loop-backs are proven end to end with zindle.)
#include <gtest/gtest.h>

#include <string>

#include "sim/ftdi/ftdi_wiring.h"
#include "sim/lpt/wiring.h"

namespace {

using vt::ftdi_chip;

// The lines reset, sck, mosi, power, enable, led_ok and led_error as 0 or 1, or '.' where `pattern` has one.
std::string levels(const vt::adapter_lines& l, std::string pattern) {
  const bool v[] = {l.reset, l.sck, l.mosi, l.power, l.enable, l.led_ok, l.led_error};
  for (size_t i = 0; i < pattern.size() && i < 7; ++i) pattern[i] = pattern[i] == '.' ? '.' : "01"[v[i]];
  return pattern;
}

// STROBE, ALF and SELECT drive their pins inverted, INIT as written; BUSY reads inverted; open inputs read high.
TEST(LptWiring, PortInversionsInvertedPinsAndBuffers) {
  vt::lpt_wiring w, b;
  std::string error;
  ASSERT_TRUE(w.configure("map", "led_ok=STROBE:led_error=INIT:power=ALF,SELECT:miso=BUSY:reset=D4", error)) << error;
  EXPECT_EQ(levels(w.outputs(0x10, 0x00), "1..1110"), "1..1110");
  EXPECT_EQ(levels(w.outputs(0x00, 0x0F), "0..0101"), "0..0101");
  EXPECT_EQ(w.status(0, 0x0C, true, false) & 0x80, 0) << "BUSY pin high reads 0";
  EXPECT_EQ(w.status(0, 0x0C, false, false) & 0xF8, 0xF8);
  ASSERT_TRUE(b.configure("map", "reset=~D4:mosi=D5:sck=D6:miso=~ACK:enable=~D2", error)) << error;
  EXPECT_EQ(levels(b.outputs(0x14, 0x0C), "000.0"), "000.0") << "D2 high: buffer off";
  EXPECT_EQ(levels(b.outputs(0x60, 0x0C), "111.1"), "111.1");
  EXPECT_EQ(b.status(0x14, 0x0C, false, false) & 0x40, 0x40) << "behind a disabled buffer MISO floats high";
  EXPECT_EQ(b.status(0x00, 0x0C, false, false) & 0x40, 0x40) << "~ACK: MISO low reads as a high pin";
  EXPECT_EQ(b.status(0x00, 0x0C, true, false) & 0x40, 0x00);
}

TEST(FtdiWiring, PinsAndMapsDriveTheTargetLines) {
  for (auto [name, bit] : {std::pair<const char*, int>{"ADBUS7", 7}, {" CBus7 ", 15}, {"acbus3", 11}, {"adbus8", -1},
                           {"D5", -1}, {"bdbus0", -1}, {"cbus", -1}})
    EXPECT_EQ(vt::ftdi_wiring::pin_bit(name), bit) << name;
  const struct { const char *wiring, *map; ftdi_chip chip; uint16_t latch, dir; const char* lines; } rows[] = {
      // SCK ADBUS0, MOSI ADBUS1, RESET ADBUS3; pins that are not outputs float high.
      {"kaldo", "", ftdi_chip::ft2232h, 0x0003, 0x000B, "0110.0"},
      {"kaldo", "", ftdi_chip::ft2232h, 0x0000, 0x0000, "1110.0"},
      // Parallel-port entries are not ours; FTDI ones move the lines.
      {"map", "mosi=D5:reset=~adbus4:power=acbus0,acbus1", ftdi_chip::ft2232c, 0x0318, 0x031B, "0001.0"},
      // A pin the chip does not have (CBUS5 of an FT2232C) connects to nothing.
      {"map", "led_ok=acbus5", ftdi_chip::ft2232c, 0x2000, 0x2000, "111..0"},
      {"map", "led_ok=cbus5", ftdi_chip::ft2232h, 0x2000, 0x2000, "111..1"},
  };
  for (const auto& r : rows) {
    vt::ftdi_wiring w;
    std::string error;
    ASSERT_TRUE(w.configure(r.wiring, r.map, r.chip, error)) << error;
    EXPECT_EQ(levels(w.outputs(r.latch, r.dir), r.lines), r.lines) << r.map;
  }
  vt::ftdi_wiring w;
  std::string error;
  ASSERT_TRUE(w.configure("map", "miso=adbus5:key=~cbus4", ftdi_chip::ft2232h, error));
  EXPECT_EQ(w.inputs(false, false), 0xFFDF);
  EXPECT_EQ(w.inputs(true, true), 0xEFFF);
  EXPECT_FALSE(w.configure("map", "reset=adbus4:sck=adbus4", ftdi_chip::ft2232h, error));
}

}  // namespace

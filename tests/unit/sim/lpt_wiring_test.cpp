// The emulated adapters seen from the port registers: the port's electrical
// inversions, inverted pins and buffers. (The built-in wirings and their
// detection loop-backs are proven end to end with zindle.)
#include <gtest/gtest.h>

#include "sim/lpt/wiring.h"

namespace {

vt::lpt_wiring wired(const std::string& map) {
  vt::lpt_wiring w;
  std::string error;
  EXPECT_TRUE(w.configure("map", map, error)) << error;
  return w;
}

// STROBE, ALF and SELECT drive their pins inverted, INIT as written; BUSY reads inverted; open inputs read high.
TEST(LptWiring, ControlAndStatusInversionsOfThePort) {
  const vt::lpt_wiring w = wired("led_ok=STROBE:led_error=INIT:power=ALF,SELECT:miso=BUSY:reset=D4");
  for (uint8_t control : {0x00, 0x0F}) {
    const auto l = w.outputs(0, control);
    EXPECT_EQ(l.led_ok, control == 0);
    EXPECT_EQ(l.led_error, control != 0);
    EXPECT_EQ(l.power, control == 0);
  }
  EXPECT_EQ(w.status(0, 0x0C, true, false) & 0x80, 0) << "BUSY pin high reads 0";
  EXPECT_EQ(w.status(0, 0x0C, false, false) & 0xF8, 0xF8);
}

TEST(LptWiring, InvertedPinsAndBuffers) {
  const vt::lpt_wiring w = wired("reset=~D4:mosi=D5:sck=D6:miso=~ACK:enable=~D2");
  EXPECT_FALSE(w.outputs(0x14, 0x0C).reset);
  EXPECT_FALSE(w.outputs(0x14, 0x0C).enable) << "D2 high: buffer off";
  EXPECT_TRUE(w.outputs(0x00, 0x0C).enable);
  EXPECT_EQ(w.status(0x14, 0x0C, false, false) & 0x40, 0x40) << "behind a disabled buffer MISO floats high";
  EXPECT_EQ(w.status(0x00, 0x0C, false, false) & 0x40, 0x40) << "~ACK: MISO low reads as a high pin";
  EXPECT_EQ(w.status(0x00, 0x0C, true, false) & 0x40, 0x00);
}

}  // namespace

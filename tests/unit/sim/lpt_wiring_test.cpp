// The emulated adapters seen from the port registers: the detection sequences
// of the STK and ByteBlaster adapters, the port's electrical inversions, and
// the buffers.
#include <gtest/gtest.h>

#include "sim/lpt/wiring.h"

namespace {

using vt::lpt_wiring;

// A port with an adapter on it, as a programmer sees it.
struct port {
  explicit port(const std::string& name, const std::string& map = "") {
    std::string error;
    EXPECT_TRUE(w.configure(name, map, error)) << error;
  }
  lpt_wiring w;
  uint8_t data = 0, control = 0x0C;
  bool miso = false;
  uint8_t status() const { return w.status(data, control, miso, false); }
};

// STK adapter test: data 0x0D then 0x0E, compare status bits 0x80 and 0x20.
int detect_stk(port& p) {
  p.control &= ~0x02;
  p.data = 0x0D;
  uint8_t s1 = p.status();
  p.data = 0x0E;
  uint8_t s2 = p.status();
  return ((s1 & 0x80) && !(s2 & 0x80) ? 1 : 0) + ((s1 & 0x20) && !(s2 & 0x20) ? 2 : 0);
}

// ByteBlaster test: 0 none, 1 ByteBlaster, 2 ByteBlasterMV, 3 ByteBlaster II.
int detect_byteblaster(port& p) {
  p.control &= ~0x02;
  p.data = 0xFF;
  if (p.status() & 0x40) {
    p.data = 0xEF;
    if (!(p.status() & 0x48)) return 3;
  }
  p.data = 0x5F;
  uint8_t s1 = p.status();
  p.data = 0xFF;
  uint8_t s2 = p.status();
  if ((s1 & 0x60) != 0 || (s2 & 0x60) != 0x60) return 0;
  return (s1 & 0x08) ? 2 : 1;
}

TEST(LptWiring, AdaptersAreRecognisedByTheirLoopBacks) {
  struct row {
    const char* name;
    int stk, byteblaster;
  } rows[] = {{"kaldo", 0, 0},       {"stk200", 2, 0},        {"stk300", 1, 0},       {"byteblaster", 0, 1},
              {"byteblastermv", 0, 2}, {"byteblaster2", 0, 3}, {"xilinx", 0, 0}};
  for (const row& r : rows) {
    for (bool miso : {false, true}) {
      port a(r.name);
      a.miso = miso;
      EXPECT_EQ(detect_stk(a), r.stk) << r.name;
      port b(r.name);
      b.miso = miso;
      EXPECT_EQ(detect_byteblaster(b), r.byteblaster) << r.name;
    }
  }
}

TEST(LptWiring, ControlAndStatusInversionsOfThePort) {
  port p("map", "led_ok=STROBE:led_error=INIT:power=ALF,SELECT:miso=BUSY:reset=D4");
  p.control = 0x00;  // STROBE, ALF, SELECT pins high; INIT low
  auto l = p.w.outputs(p.data, p.control);
  EXPECT_TRUE(l.led_ok);
  EXPECT_FALSE(l.led_error);
  EXPECT_TRUE(l.power);
  l = p.w.outputs(p.data, 0x0F);
  EXPECT_FALSE(l.led_ok);
  EXPECT_TRUE(l.led_error);
  EXPECT_FALSE(l.power);
  p.miso = true;  // BUSY pin high reads 0
  EXPECT_EQ(p.status() & 0x80, 0);
  p.miso = false;
  EXPECT_EQ(p.status() & 0x80, 0x80);
  EXPECT_EQ(p.status() & 0x78, 0x78) << "open inputs read high";
}

TEST(LptWiring, InvertedPinsAndBuffers) {
  port p("map", "reset=~D4:mosi=D5:sck=D6:miso=~ACK:enable=~D2");
  auto l = p.w.outputs(0x14, 0x0C);
  EXPECT_FALSE(l.reset);
  EXPECT_FALSE(l.enable);  // D2 high: buffer off
  p.data = 0x14;
  p.miso = false;
  EXPECT_EQ(p.status() & 0x40, 0x40) << "behind a disabled buffer MISO floats high";
  p.data = 0x00;
  EXPECT_TRUE(p.w.outputs(0x00, 0x0C).enable);
  EXPECT_EQ(p.status() & 0x40, 0x40) << "~ACK: MISO low reads as a high pin";
  p.miso = true;
  EXPECT_EQ(p.status() & 0x40, 0x00);
}

TEST(LptWiring, BuiltInPinsDriveTheTarget) {
  struct row {
    const char* name;
    uint8_t data, control;
    bool mosi, sck, reset, enable;
  } rows[] = {
      {"kaldo", 0x60, 0x0C, true, true, false, true},      // D5 D6 high, D4 low
      {"stk200", 0x30, 0x0C, true, true, false, true},     // D2 D3 low enable the buffer
      {"stk200", 0x3C, 0x0C, true, true, false, false},
      {"byteblaster", 0x41, 0x0E, true, true, false, true},  // ALF register bit set: pin low, enabled
      {"byteblaster", 0x41, 0x0C, true, true, false, false},
      {"byteblaster2", 0xF1, 0x04, true, true, false, true},
      {"xilinx", 0x03, 0x0C, true, true, false, true},
  };
  for (const row& r : rows) {
    port p(r.name);
    auto l = p.w.outputs(r.data, r.control);
    EXPECT_EQ(l.mosi, r.mosi) << r.name;
    EXPECT_EQ(l.sck, r.sck) << r.name;
    EXPECT_EQ(l.reset, r.reset) << r.name;
    EXPECT_EQ(l.enable, r.enable) << r.name << " " << int(r.data);
  }
}

}  // namespace

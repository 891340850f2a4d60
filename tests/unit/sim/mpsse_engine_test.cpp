// The MPSSE engine against a fake SPI slave, with expectations from FTDI's
// MPSSE command set and the SPI mode definitions.
#include <gtest/gtest.h>

#include <vector>

#include "sim/ftdi/mpsse_engine.h"

namespace {

using vt::ftdi_chip;

// An engine and what hangs on its pins: every SCK (ADBUS0) edge is recorded with its time and MOSI
// (ADBUS1); MISO (ADBUS2) shows `pattern`, most significant bit first, the next bit from each
// falling edge (mode 0) or rising edge (mode 1) on.
struct fake : vt::mpsse_host {
  explicit fake(ftdi_chip chip) : engine(*this, chip) { engine.reset(); }
  vt::mpsse_engine engine;
  struct edge { uint64_t t; bool rising, mosi; };
  std::vector<edge> edges;
  std::vector<uint8_t> answer;
  uint64_t t = 0;
  uint16_t others = 0xFFFF;  // what the other input pins read
  uint8_t pattern = 0;
  int bit = 0, flushes = 0;
  bool mode1 = false, sck = true;

  void send(std::vector<uint8_t> bytes) { engine.write(bytes.data(), bytes.size()); }
  uint8_t mosi_on(bool rising) const {
    uint8_t b = 0;
    for (const auto& e : edges) b = e.rising == rising ? uint8_t(b << 1 | e.mosi) : b;
    return b;
  }
  uint64_t now_ns() override { return t; }
  void advance_ns(uint64_t ns) override { t += ns; }
  void pins_changed(uint16_t latch, uint16_t dir) override {
    const bool level = !(dir & 1) || (latch & 1);  // an input floats high
    if (level != sck) edges.push_back({t, level, bool(latch & 2)}), bit += level == mode1;
    sck = level;
  }
  uint16_t pin_inputs() override {
    return uint16_t(bit < 0 || bit > 7 || (pattern >> (7 - bit) & 1) ? others | 4 : others & ~4);
  }
  void emit(uint8_t b) override { answer.push_back(b); }
  void flush() override { ++flushes; }
};

TEST(MpsseEngine, BadCommandsAreAnsweredWithFaAndTheByte) {
  const struct { ftdi_chip chip; std::vector<uint8_t> in, answer; } rows[] = {
      {ftdi_chip::ft2232c, {0xAA}, {0xFA, 0xAA}},
      {ftdi_chip::ft2232c, {0x8A, 0x8B}, {0xFA, 0x8A, 0xFA, 0x8B}},  // the clock commands of the H chips only
      {ftdi_chip::ft4232h, {0x8A, 0x8B, 0x8E, 0x00}, {}},
      {ftdi_chip::ft2232h, {0x9E, 0x00, 0x00}, {0xFA, 0x9E, 0xFA, 0x00, 0xFA, 0x00}},  // FT232H only
      {ftdi_chip::ft2232h, {0xAB, 0x81}, {0xFA, 0xAB, 0xFB}},  // the next command works (MISO low)
  };
  for (const auto& r : rows) {
    fake f(r.chip);
    f.send(r.in);
    EXPECT_EQ(f.answer, r.answer) << "first byte " << int(r.in[0]);
  }
}

// SCK = 6 MHz / (1 + divisor), or 30 MHz / (1 + divisor) once divide-by-5 is off (H chips, 0x8A).
TEST(MpsseEngine, ClockRateFollowsDivisorAndDivideBy5) {
  const struct { ftdi_chip chip; std::vector<uint8_t> setup; uint16_t divisor; double period_ns; } rows[] = {
      {ftdi_chip::ft2232c, {}, 0, 1e9 / 6e6},  {ftdi_chip::ft2232c, {}, 5, 1000},
      {ftdi_chip::ft2232c, {}, 65535, 1e9 / (6e6 / 65536)},
      {ftdi_chip::ft2232h, {}, 31, 1e9 / 187500},  // divide-by-5 is on after reset
      {ftdi_chip::ft2232h, {0x8A}, 29, 1000}, {ftdi_chip::ft2232h, {0x8A}, 0, 1e9 / 30e6},
      {ftdi_chip::ft4232h, {0x8A, 0x8B}, 2, 500}};
  for (const auto& r : rows) {
    fake f(r.chip);
    f.send(r.setup);
    f.send({0x80, 0x00, 0x0B, 0x86, uint8_t(r.divisor), uint8_t(r.divisor >> 8)});
    const uint64_t start = f.t;
    f.edges.clear();
    f.send({0x11, 0x00, 0x00, 0x55});
    EXPECT_NEAR(double(f.t - start), 8 * r.period_ns, 1.0) << "divisor " << r.divisor;
    ASSERT_EQ(f.edges.size(), 16u);
    EXPECT_NEAR(double(f.edges[0].t - start), r.period_ns / 2, 1.0) << "SCK low half a period";
    EXPECT_NEAR(double(f.edges[14].t - f.edges[0].t), 7 * r.period_ns, 1.0);
  }
}

// Bit 0 of a shifting command: data out changes on the falling edge; bit 2: data in is sampled on the
// falling edge. The SCK idle level is the latch's. Rows: idle level, command, slave in mode 1, the
// slave's first bit (-1: it changes before the first sample), the edge where it sees 0xA6 (rising or
// falling), what the engine reads from it sending 0x35.
TEST(MpsseEngine, DataOutAndInOnTheChosenEdges) {
  const struct { bool idle_high; uint8_t cmd; bool slave_mode1; int first_bit; bool sampled_on; uint8_t in; } rows[] = {
      {false, 0x31, false, 0, true, 0x35},  {false, 0x34, true, -1, false, 0x35}, {false, 0x30, true, -1, false, 0x9A},
      {true, 0x31, false, -1, true, 0x35},  {true, 0x34, false, 0, false, 0x35}};
  for (const auto& r : rows) {
    fake f(ftdi_chip::ft2232c);
    f.send({0x80, uint8_t(r.idle_high), 0x0B});
    f.pattern = 0x35, f.mode1 = r.slave_mode1, f.bit = r.first_bit;
    f.edges.clear();
    f.send({r.cmd, 0x00, 0x00, 0xA6});
    EXPECT_EQ(f.edges.size(), 16u) << "SCK back at its idle level";
    EXPECT_EQ(f.mosi_on(r.sampled_on), 0xA6) << "cmd " << int(r.cmd);
    EXPECT_EQ(f.answer, std::vector<uint8_t>{r.in}) << "cmd " << int(r.cmd) << " idle " << r.idle_high;
  }
}

TEST(MpsseEngine, BitsOutPinsAndSendImmediate) {
  fake f(ftdi_chip::ft2232h);
  f.send({0x80, 0x00, 0x0B, 0x13, 0x02, 0xA0});  // three bits, most significant first: 1 0 1
  EXPECT_EQ(f.edges.size(), 7u);
  EXPECT_EQ(f.mosi_on(true), 0x05);
  f.others = 0xA5C3;
  f.send({0x80, 0x19, 0x1B, 0x82, 0x12, 0x34, 0x81, 0x83, 0x87});
  EXPECT_EQ(f.engine.latch() << 16 | f.engine.direction(), 0x1219341B);
  // Outputs read their latch, inputs the outside (MISO low):
  // 0x19 & 0x1B | 0xC3 & ~0x1B & ~0x04; 0x12 & 0x34 | 0xA5 & ~0x34.
  EXPECT_EQ(f.answer, (std::vector<uint8_t>{0xD9, 0x91}));
  EXPECT_EQ(f.flushes, 1);
  f.engine.release();
  EXPECT_EQ(f.engine.direction(), 0) << "leaving MPSSE mode lets every pin float";
}

}  // namespace

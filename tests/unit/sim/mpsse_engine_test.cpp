// The MPSSE engine against a fake SPI slave, with expectations from FTDI's
// MPSSE command set and the SPI mode definitions.
#include <gtest/gtest.h>

#include <vector>

#include "sim/ftdi/mpsse_engine.h"

namespace {

using vt::ftdi_chip;

// Sees SCK (ADBUS0) edges: MOSI (ADBUS1) at each, and their times; answers MISO
// (ADBUS2) with `pattern`, most significant bit first, advanced after each
// falling edge (mode 0) or at each rising edge (mode 1).
struct fake_target : vt::mpsse_host {
  uint64_t t = 0;
  uint16_t latch = 0, dir = 0, other_inputs = 0xFFFF;
  std::vector<uint8_t> answer;
  std::vector<bool> mosi_at[2];  // [0] falling, [1] rising edges
  std::vector<uint64_t> rise_t;
  uint8_t pattern = 0;
  bool mode1 = false;
  int bit = 0;
  int flushes = 0;

  bool sck() const { return (dir & 1) ? (latch & 1) : true; }
  uint64_t now_ns() override { return t; }
  void advance_ns(uint64_t ns) override { t += ns; }
  void pins_changed(uint16_t l, uint16_t d) override {
    const bool was = sck();
    latch = l, dir = d;
    if (was == sck()) return;
    mosi_at[sck()].push_back((l >> 1) & 1);
    if (sck()) rise_t.push_back(t);
    if (sck() == mode1) ++bit;
  }
  uint16_t pin_inputs() override {
    const bool miso = bit < 0 || bit > 7 || ((pattern >> (7 - bit)) & 1);
    return uint16_t(miso ? other_inputs | 4 : other_inputs & ~4);
  }
  void emit(uint8_t b) override { answer.push_back(b); }
  void flush() override { ++flushes; }
};

uint8_t bits(const std::vector<bool>& v) {
  uint8_t b = 0;
  for (bool x : v) b = uint8_t((b << 1) | x);
  return b;
}

struct engine_fixture {
  fake_target target;
  vt::mpsse_engine engine;
  explicit engine_fixture(ftdi_chip chip) : engine(target, chip) { engine.reset(); }
  void send(std::vector<uint8_t> bytes) { engine.write(bytes.data(), bytes.size()); }
};

TEST(MpsseEngine, BadCommandsAreAnsweredWithFaAndTheByte) {
  const struct {
    ftdi_chip chip;
    std::vector<uint8_t> in, answer;
  } rows[] = {
      {ftdi_chip::ft2232c, {0xAA}, {0xFA, 0xAA}},
      {ftdi_chip::ft2232c, {0x8A, 0x8B}, {0xFA, 0x8A, 0xFA, 0x8B}},  // the clock commands of the H chips only
      {ftdi_chip::ft4232h, {0x8A, 0x8B, 0x8E, 0x00}, {}},
      {ftdi_chip::ft2232h, {0x9E, 0x00, 0x00}, {0xFA, 0x9E, 0xFA, 0x00, 0xFA, 0x00}},  // FT232H only
      {ftdi_chip::ft2232h, {0xAB, 0x81}, {0xFA, 0xAB, 0xFB}},  // the next command works (MISO low)
  };
  for (const auto& r : rows) {
    engine_fixture f(r.chip);
    f.send(r.in);
    EXPECT_EQ(f.target.answer, r.answer) << "first byte " << int(r.in[0]);
  }
}

// SCK = 6 MHz / (1 + divisor), or 30 MHz / (1 + divisor) once divide-by-5 is off (H chips, 0x8A).
TEST(MpsseEngine, ClockRateFollowsDivisorAndDivideBy5) {
  const struct {
    ftdi_chip chip;
    std::vector<uint8_t> setup;
    uint16_t divisor;
    double period_ns;
  } rows[] = {
      {ftdi_chip::ft2232c, {}, 0, 1e9 / 6e6},        {ftdi_chip::ft2232c, {}, 5, 1000},
      {ftdi_chip::ft2232c, {}, 65535, 1e9 / (6e6 / 65536)},
      {ftdi_chip::ft2232h, {}, 31, 1e9 / 187500},   // divide-by-5 is on after reset
      {ftdi_chip::ft2232h, {0x8A}, 29, 1000},        {ftdi_chip::ft2232h, {0x8A}, 0, 1e9 / 30e6},
      {ftdi_chip::ft4232h, {0x8A, 0x8B}, 2, 500},
  };
  for (const auto& r : rows) {
    engine_fixture f(r.chip);
    f.send(r.setup);
    f.send({0x80, 0x00, 0x0B, 0x86, uint8_t(r.divisor), uint8_t(r.divisor >> 8)});
    const uint64_t start = f.target.t;
    f.send({0x11, 0x00, 0x00, 0x55});
    EXPECT_NEAR(double(f.target.t - start), 8 * r.period_ns, 1.0) << "divisor " << r.divisor;
    ASSERT_EQ(f.target.rise_t.size(), 8u);
    EXPECT_NEAR(double(f.target.rise_t[0] - start), r.period_ns / 2, 1.0) << "SCK low half a period";
    EXPECT_NEAR(double(f.target.rise_t[7] - f.target.rise_t[0]), 7 * r.period_ns, 1.0);
  }
}

// Bit 0 of a shifting command: data out changes on the falling edge; bit 2:
// data in is sampled on the falling edge. The SCK idle level is the latch's.
TEST(MpsseEngine, DataOutAndInOnTheChosenEdges) {
  const struct {
    bool idle_high;
    uint8_t cmd;
    bool slave_mode1;
    int first_bit;   // -1 when the slave's first change comes before the first sample
    int sampled_on;  // the edge where the slave sees 0xA6 (1 rising, 0 falling)
    uint8_t in;      // what the engine reads from a slave sending 0x35
  } rows[] = {{false, 0x31, false, 0, 1, 0x35}, {false, 0x34, true, -1, 0, 0x35}, {false, 0x30, true, -1, 0, 0x9A},
              {true, 0x31, false, -1, 1, 0x35}, {true, 0x34, false, 0, 0, 0x35}};
  for (const auto& r : rows) {
    engine_fixture f(ftdi_chip::ft2232c);
    f.send({0x80, uint8_t(r.idle_high ? 0x01 : 0x00), 0x0B});
    f.target.pattern = 0x35;
    f.target.mode1 = r.slave_mode1;
    f.target.bit = r.first_bit;
    f.target.mosi_at[0].clear(), f.target.mosi_at[1].clear();
    f.send({r.cmd, 0x00, 0x00, 0xA6});
    ASSERT_EQ(f.target.mosi_at[r.sampled_on].size(), 8u);
    EXPECT_EQ(bits(f.target.mosi_at[r.sampled_on]), 0xA6) << "cmd " << int(r.cmd);
    EXPECT_EQ(f.target.answer, std::vector<uint8_t>{r.in}) << "cmd " << int(r.cmd) << " idle " << r.idle_high;
    EXPECT_EQ(f.target.sck(), r.idle_high) << "SCK back at its idle level";
  }
}

TEST(MpsseEngine, BitsOutPinsAndSendImmediate) {
  engine_fixture f(ftdi_chip::ft2232h);
  f.send({0x80, 0x00, 0x0B, 0x13, 0x02, 0xA0});  // three bits, most significant first: 1 0 1
  EXPECT_EQ(f.target.mosi_at[1], (std::vector<bool>{true, false, true}));
  f.send({0x80, 0x19, 0x1B, 0x82, 0x12, 0x34});
  EXPECT_EQ(f.target.latch, 0x1219);
  EXPECT_EQ(f.target.dir, 0x341B);
  f.target.bit = 0;  // MISO low
  f.target.other_inputs = 0xA5C3;
  f.send({0x81, 0x83, 0x87});
  // Outputs read their latch, inputs the outside: 0x19 & 0x1B | 0xC3 & ~0x1B & ~0x04; 0x12 & 0x34 | 0xA5 & ~0x34.
  EXPECT_EQ(f.target.answer, (std::vector<uint8_t>{0xD9, 0x91}));
  EXPECT_EQ(f.target.flushes, 1);
  f.engine.release();
  EXPECT_EQ(f.target.dir, 0) << "leaving MPSSE mode lets every pin float";
}

}  // namespace

// The MPSSE engine against a fake target: an SPI slave that samples MOSI on
// the edges it sees and changes MISO on the edge of its SPI mode. Expected
// values come from the MPSSE command set and SPI mode definitions.
#include <gtest/gtest.h>

#include <vector>

#include "sim/ftdi/mpsse_engine.h"

namespace {

using vt::ftdi_chip;

struct fake_target : vt::mpsse_host {
  uint64_t t = 0;
  uint16_t latch = 0, dir = 0;
  std::vector<uint8_t> answer;
  int flushes = 0;
  // What the target saw: MOSI (ADBUS1) and TMS (ADBUS3) at each SCK edge, and edge times.
  std::vector<bool> mosi_at_rise, mosi_at_fall, tms_at_rise;
  std::vector<uint64_t> rise_t, fall_t;
  // MISO: bit i of `pattern` (most significant first), advanced on the chosen edge.
  uint8_t pattern = 0;
  bool change_on_rise = false;  // SPI mode 1 (else mode 0: change after the falling edge)
  int miso_index = 0;
  uint16_t other_inputs = 0xFFFF;

  bool sck() const { return (dir & 1) ? (latch & 1) : true; }
  bool miso_level() const {
    if (miso_index < 0 || miso_index > 7) return true;
    return (pattern >> (7 - miso_index)) & 1;
  }
  uint64_t now_ns() override { return t; }
  void advance_ns(uint64_t ns) override { t += ns; }
  void pins_changed(uint16_t l, uint16_t d) override {
    const bool was = sck();
    latch = l;
    dir = d;
    const bool now = sck();
    if (was == now) return;
    const bool mosi = (l >> 1) & 1, tms = (l >> 3) & 1;
    if (now) {
      mosi_at_rise.push_back(mosi);
      tms_at_rise.push_back(tms);
      rise_t.push_back(t);
      if (change_on_rise) ++miso_index;
    } else {
      mosi_at_fall.push_back(mosi);
      fall_t.push_back(t);
      if (!change_on_rise) ++miso_index;
    }
  }
  uint16_t pin_inputs() override { return uint16_t(miso_level() ? other_inputs | 4 : other_inputs & ~4); }
  void emit(uint8_t b) override { answer.push_back(b); }
  void flush() override { ++flushes; }
};

uint8_t bits_msb_first(const std::vector<bool>& v) {
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
  struct row {
    ftdi_chip chip;
    std::vector<uint8_t> in;
    std::vector<uint8_t> answer;
  };
  const row rows[] = {
      {ftdi_chip::ft2232c, {0xAA}, {0xFA, 0xAA}},
      {ftdi_chip::ft2232h, {0xAB}, {0xFA, 0xAB}},
      {ftdi_chip::ft2232h, {0x00}, {0xFA, 0x00}},
      // Divide-by-5 and the clock-only commands exist on the H chips only.
      {ftdi_chip::ft2232c, {0x8A}, {0xFA, 0x8A}},
      {ftdi_chip::ft2232c, {0x8B}, {0xFA, 0x8B}},
      {ftdi_chip::ft2232h, {0x8A, 0x8B}, {}},
      {ftdi_chip::ft4232h, {0x8E, 0x00}, {}},
      {ftdi_chip::ft2232c, {0x8E, 0x00}, {0xFA, 0x8E, 0xFA, 0x00}},
      // Drive-zero mode belongs to the FT232H, not to these chips.
      {ftdi_chip::ft2232h, {0x9E, 0x00, 0x00}, {0xFA, 0x9E, 0xFA, 0x00, 0xFA, 0x00}},
      // Known commands in between go on working.
      {ftdi_chip::ft2232h, {0xAA, 0x84, 0x31, 0x00, 0x00, 0x3C}, {0xFA, 0xAA, 0x3C}},
  };
  for (const row& r : rows) {
    engine_fixture f(r.chip);
    f.send(r.in);
    EXPECT_EQ(f.target.answer, r.answer) << "first byte " << int(r.in[0]);
  }
}

TEST(MpsseEngine, ClockRateFollowsDivisorAndDivideBy5) {
  struct row {
    ftdi_chip chip;
    std::vector<uint8_t> setup;
    uint16_t divisor;
    double period_ns;
  };
  const row rows[] = {
      {ftdi_chip::ft2232c, {}, 0, 1e9 / 6e6},
      {ftdi_chip::ft2232c, {}, 5, 1000},
      {ftdi_chip::ft2232c, {}, 65535, 1e9 / (6e6 / 65536)},
      {ftdi_chip::ft2232h, {}, 31, 1e9 / 187500},  // divide-by-5 is on after reset
      {ftdi_chip::ft2232h, {0x8A}, 29, 1000},
      {ftdi_chip::ft2232h, {0x8A}, 0, 1e9 / 30e6},
      {ftdi_chip::ft4232h, {0x8A, 0x8B}, 2, 500},
  };
  for (const row& r : rows) {
    engine_fixture f(r.chip);
    f.send(r.setup);
    f.send({0x80, 0x00, 0x0B, 0x86, uint8_t(r.divisor), uint8_t(r.divisor >> 8)});
    f.target.rise_t.clear();
    f.target.fall_t.clear();
    const uint64_t start = f.target.t;
    f.send({0x11, 0x00, 0x00, 0x55});
    const double expected = 8 * r.period_ns;
    EXPECT_NEAR(double(f.target.t - start), expected, 1.0) << "divisor " << r.divisor;
    ASSERT_EQ(f.target.rise_t.size(), 8u);
    // Each half of the clock lasts half a period.
    EXPECT_NEAR(double(f.target.fall_t[0] - f.target.rise_t[0]), r.period_ns / 2, 1.0);
    EXPECT_NEAR(double(f.target.rise_t[7] - f.target.rise_t[0]), 7 * r.period_ns, 1.0);
  }
}

TEST(MpsseEngine, DataOutChangesOnTheChosenEdge) {
  // Idle level of SCK and the out-edge bit decide the SPI mode the target must use.
  struct row {
    bool idle_high;
    uint8_t cmd;
    bool sampled_on_rise;  // where the target sees the data
  };
  const row rows[] = {
      {false, 0x11, true},   // mode 0: change on falling, sample on rising
      {false, 0x10, false},  // mode 1: change on rising, sample on falling
      {true, 0x11, true},    // mode 3
      {true, 0x10, false},   // mode 2
  };
  for (const row& r : rows) {
    engine_fixture f(ftdi_chip::ft2232h);
    f.send({0x80, uint8_t(r.idle_high ? 0x01 : 0x00), 0x0B, 0x86, 0x00, 0x00});
    f.target.mosi_at_rise.clear();
    f.target.mosi_at_fall.clear();
    f.send({r.cmd, 0x00, 0x00, 0xA6});
    ASSERT_EQ(f.target.mosi_at_rise.size(), 8u);
    ASSERT_EQ(f.target.mosi_at_fall.size(), 8u);
    EXPECT_EQ(bits_msb_first(r.sampled_on_rise ? f.target.mosi_at_rise : f.target.mosi_at_fall), 0xA6)
        << "cmd " << int(r.cmd) << " idle " << r.idle_high;
    EXPECT_EQ(f.target.sck(), r.idle_high) << "SCK back at its idle level";
  }
}

TEST(MpsseEngine, DataInIsSampledOnTheChosenEdge) {
  struct row {
    bool slave_mode1;
    uint8_t cmd;
    uint8_t expected;
  };
  // Pattern 0x35 = 0011 0101. A mode-1 slave puts bit k out on the k-th rising
  // edge, so sampling on the rising edge sees bit k-1 (the line idles high first).
  const row rows[] = {
      {false, 0x20, 0x35},
      {false, 0x24, 0x35},
      {true, 0x24, 0x35},
      {true, 0x20, 0x9A},
      {false, 0x31, 0x35},
      {true, 0x34, 0x35},
  };
  for (const row& r : rows) {
    engine_fixture f(ftdi_chip::ft2232c);
    f.send({0x80, 0x00, 0x0B});
    f.target.pattern = 0x35;
    f.target.change_on_rise = r.slave_mode1;
    f.target.miso_index = r.slave_mode1 ? -1 : 0;
    if (r.cmd & 0x10) f.send({r.cmd, 0x00, 0x00, 0xFF});
    else f.send({r.cmd, 0x00, 0x00});
    EXPECT_EQ(f.target.answer, std::vector<uint8_t>{r.expected}) << "cmd " << int(r.cmd);
  }
}

TEST(MpsseEngine, BitOrderAndBitCommands) {
  {
    engine_fixture f(ftdi_chip::ft2232h);
    f.send({0x80, 0x00, 0x0B, 0x19, 0x00, 0x00, 0x01});  // least significant bit first
    EXPECT_EQ(bits_msb_first(f.target.mosi_at_rise), 0x80);
  }
  {
    engine_fixture f(ftdi_chip::ft2232h);
    f.send({0x80, 0x00, 0x0B, 0x13, 0x02, 0xA0});  // three bits, most significant first: 1 0 1
    EXPECT_EQ(f.target.mosi_at_rise, (std::vector<bool>{true, false, true}));
    f.target.mosi_at_rise.clear();
    f.send({0x1B, 0x02, 0x06});  // least significant first: 0 1 1
    EXPECT_EQ(f.target.mosi_at_rise, (std::vector<bool>{false, true, true}));
  }
  {
    // Bits read come in at the low end (most significant first) or the top end.
    engine_fixture f(ftdi_chip::ft2232c);
    f.send({0x80, 0x00, 0x0B});
    f.target.pattern = 0xC0;  // 1 1 0 ...
    f.target.miso_index = 0;
    f.send({0x22, 0x02});
    f.target.miso_index = 0;
    f.send({0x2A, 0x02});
    EXPECT_EQ(f.target.answer, (std::vector<uint8_t>{0x06, 0x60}));
  }
}

TEST(MpsseEngine, TmsCommandClocksTmsAndHoldsDataOut) {
  engine_fixture f(ftdi_chip::ft2232h);
  f.send({0x80, 0x00, 0x0B, 0x4B, 0x02, 0x85});
  EXPECT_EQ(f.target.tms_at_rise, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(f.target.mosi_at_rise, (std::vector<bool>{true, true, true}));
}

TEST(MpsseEngine, PinsLoopbackAndSplitCommands) {
  engine_fixture f(ftdi_chip::ft2232h);
  f.send({0x80, 0x19, 0x1B, 0x82, 0x12, 0x34});
  EXPECT_EQ(f.target.latch, 0x1219);
  EXPECT_EQ(f.target.dir, 0x341B);
  f.target.other_inputs = 0xA5C3;  // MISO (bit 2) from the slave: pattern bit 0 = 0
  f.send({0x81, 0x83});
  // Outputs read their latch, inputs the outside: low 0x19 & 0x1B | 0xC3 & ~0x1B & ~0x04.
  EXPECT_EQ(f.target.answer, (std::vector<uint8_t>{0xD9, 0x91}));
  f.target.answer.clear();
  f.send({0x84, 0x31, 0x00});  // loopback: what goes out comes back
  EXPECT_TRUE(f.target.answer.empty());
  f.send({0x00, 0x5A, 0x85, 0x87});
  EXPECT_EQ(f.target.answer, std::vector<uint8_t>{0x5A});
  EXPECT_EQ(f.target.flushes, 1);
  // Leaving MPSSE mode lets every pin float.
  f.engine.release();
  EXPECT_EQ(f.target.dir, 0);
  f.send({0x81});
  EXPECT_EQ(f.target.answer.size(), 1u);
}

}  // namespace

// The MPSSE clock divisor: base choice, rounding towards the slower clock, limit.
#include <gtest/gtest.h>

#include "ftdi/mpsse_clock.h"
#include "ftdi_test_support.h"

namespace {

TEST(mpsse_clock, examples) {
  const struct {
    uint32_t type, requested;
    uint8_t command;
    uint32_t count;
    float mhz;
  } cases[] = {
      {6, 190000, 0x8B, 32, 0.1875f},    // 800 kHz oscillator, 2 clocks per half period
      {6, 1000000, 0x8A, 30, 1.0f},
      {6, 499999, 0x8B, 13, 6.0f / 13},  // just below the switch to the undivided clock
      {6, 500000, 0x8A, 60, 0.5f},
      {7, 190000, 0x8B, 32, 0.1875f},
      {4, 190000, 0, 32, 0.1875f},
      {4, 1000000, 0, 6, 1.0f},
      {4, 6000000, 0, 1, 6.0f},
      {6, 30000000, 0x8A, 1, 30.0f},
      {4, 4000000000u, 0, 1, 6.0f},       // faster than the chip can: its fastest
      {4, 92, 0, 65218, 6.0f / 65218},
  };
  for (const auto& c : cases) {
    mpsse_clock clock = choose_mpsse_clock(c.type, c.requested);
    EXPECT_EQ(clock.base_command, c.command) << c.type << " " << c.requested;
    EXPECT_EQ(clock.count, c.count) << c.type << " " << c.requested;
    EXPECT_EQ(clock.divisor, c.count - 1) << c.type << " " << c.requested;
    EXPECT_FLOAT_EQ(clock.sck_mhz, c.mhz) << c.type << " " << c.requested;
    // Never faster than asked (unless the chip cannot go that slow).
    EXPECT_LE(clock.sck_mhz * 1e6f, c.requested * 1.0001f);
  }
}

TEST(mpsse_clock, slowest_clock_is_base_over_65536) {
  // 6 MHz / 65536 = 91.55 Hz: 92 Hz fits, 91 Hz needs divisor 65934.
  EXPECT_EQ(choose_mpsse_clock(4, 92).divisor, 65217);
  EXPECT_EQ(choose_mpsse_clock(6, 92).divisor, 65217);
  const uint32_t too_slow[][2] = {{4, 91}, {6, 91}, {7, 50}, {4, 0}};
  for (const auto& c : too_slow) {
    captured_output out;
    EXPECT_EQ(status_of([&] { choose_mpsse_clock(c[0], c[1]); }), 70);
    EXPECT_EQ(out.text(), "SCK frequency for FT2232/FT4232 MPSSE mode must be higher than 92Hz\n");
  }
}

}  // namespace

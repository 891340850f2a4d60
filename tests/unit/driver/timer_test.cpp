// Stopwatch, delays and the auto-scaled formatting of times and frequencies.
#include "driver/timer.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/fake_clock.h"

namespace {

TEST(FormatScaled, ExamplesFromTheUnitRules) {
  const struct {
    double value;
    int unit;
    bool frequency;
    const char* expected;
  } cases[] = {
      {12345, 1, false, "12.3s"},   {250, 1, false, "250ms"},    {0.25, 1, false, "250us"},
      {0.0005, 1, false, "0.50us"}, {300, 1, false, "300ms"},    {0.3, 1, false, "300us"},
      {800, 2, true, "0.80MHz"},    {4000, 2, true, "4.0MHz"},   {0.1, 3, true, "0.100Hz"},
  };
  for (const auto& c : cases) {
    char buffer[128];
    std::string got = c.frequency ? format_frequency(c.value, c.unit, buffer) : format_time(c.value, c.unit, buffer);
    EXPECT_EQ(got, c.expected) << "value " << c.value << " unit " << c.unit;
  }
}

// A clock that moves only when told; its sleeps are cut short by a "signal" half-way, `interruptions` times.
struct interrupting_clock : fake_clock {
  bool sleep(const timespec& want, timespec& rest) override {
    if (interruptions-- <= 0) return fake_clock::sleep(want, rest);
    const uint64_t half = (uint64_t(want.tv_sec) * 1000000000u + uint64_t(want.tv_nsec)) / 2;
    advance_ns(half);
    rest = {time_t(half / 1000000000u), long(half % 1000000000u)};
    return false;
  }
  int interruptions = 0;
};

TEST(Timer, StopwatchDelaysAndSleepsOnTheClock) {
  interrupting_clock clock;
  clock_in_use use(clock);
  timer t;
  t.start();
  clock.advance_ns(1700000000);
  EXPECT_EQ(t.elapsed_ms(), 1700.0);  // running
  t.stop();
  clock.advance_ns(5000000);
  t.stop();
  EXPECT_EQ(t.elapsed_ms(), 1700.0);  // stopped: does not move, a second stop adds nothing
  t.set_delay_ms(0);
  EXPECT_TRUE(t.delay_passed());
  t.set_delay_ms(1000.5f);
  clock.advance_ns(1000499000);
  EXPECT_FALSE(t.delay_passed());
  clock.advance_ns(1000);
  EXPECT_TRUE(t.delay_passed());  // equal counts as passed
  t.set_delay_ms(2000);
  clock.advance_ns(1999999000);
  EXPECT_FALSE(t.delay_passed());  // seconds short, microseconds over
  timer watch;
  watch.start();
  clock.interruptions = 2;
  t.set_delay_ms(120);
  t.sleep_delay();
  EXPECT_EQ(watch.elapsed_ms(), 120.0) << "a sleep cut short by signals is resumed for the rest";
}

}  // namespace

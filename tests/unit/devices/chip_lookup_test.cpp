// Name lookup, display names, and the SCK timing derived from the chip in use.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"

namespace {

TEST(ChipLookup, NameMatchingDisplayNamesAndFuseByteNames) {
  EXPECT_TRUE(chip_name_matches("b", "a|b|c") && chip_name_matches("C", "a|b|c") && chip_name_matches("abc", "ABC"));
  EXPECT_FALSE(chip_name_matches("ab", "abc|d") || chip_name_matches("abcd", "abc|d") ||
               chip_name_matches("a|b", "a|b") || chip_name_matches("", "a|b"));
  EXPECT_EQ(std::make_tuple(find_chip("TINY13a"), find_chip("tiny22L"), find_chip("mega165p"), find_chip("mega165A")),
            std::make_tuple(14, 12, 76, 77));  // rows 15, 13, 77, 78 of the device list
  EXPECT_EQ(std::make_tuple(find_chip("tiny1"), find_chip("tiny13|tiny13A"), find_chip("mega"), find_chip("")),
            std::make_tuple(-1, -1, -1, -1));
  EXPECT_EQ(std::string(chip_display_name(-1)) + chip_display_name(0) + chip_display_name(111) + chip_display_name(112),
            "unknown86RF401mega128RFA1unknown");
  const char* const byte_names[] = {"???", "_LOCK", "_LOW", "_HIGH", "_EXT", "???"};
  for (int i = -1; i <= 4; ++i) EXPECT_STREQ(fuse_byte_name(i), byte_names[i + 1]) << i;
}

TEST(CurrentChip, SckTimingInOscillatorClocks) {
  const struct {
    const char* chip;
    uint32_t clock_frequency, xtal_divider;
    int low, high;
  } cases[] = {
      {"90S1200", 800000, 1, 2, 5},      {"86RF401", 800000, 1, 5, 17},   {"mega8", 8000000, 1, 2, 2},
      {"mega8", 16000000, 1, 3, 3},      {"mega8", 12000000, 1, 2, 2},    {"mega8", 12000001, 1, 3, 3},
      {"90S1200", 16000000, 1, 2, 5},    {"90S1200", 800000, 4, 8, 20},   {"86RF401", 800000, 4, 20, 68},
      {"mega8", 8000000, 4, 8, 8},       {"mega8", 16000000, 4, 12, 12},
  };
  for (const auto& c : cases) {
    settings.requested_chip = c.chip;
    settings.clock_frequency = c.clock_frequency;
    settings.xtal_divider = c.xtal_divider;
    int low = -1, high = -1;
    sck_timing(low, high);
    EXPECT_EQ(std::make_pair(low, high), std::make_pair(c.low, c.high))
        << c.chip << " " << c.clock_frequency << " /" << c.xtal_divider;
  }
  settings = run_settings{};
}

}  // namespace

// Name lookup, the chip in use, the sizes and SCK timing derived from it.
#include <gtest/gtest.h>

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"

namespace {

TEST(ChipLookup, FindChipComparesWholeNamesIgnoringCase) {
  const struct {
    const char* name;
    int row;  // 1-based row of the device list, 0 = not found
  } cases[] = {
      {"tiny13", 15},     {"TINY13a", 15},   {"tiny1", 0},        {"tiny13A|", 0},      {"tiny13|tiny13A", 0},
      {"mega165PA", 77},  {"mega165p", 77},  {"mega165", 77},     {"mega165A", 78},     {"tiny22", 14},
      {"tiny22L", 13},    {"86rf401", 1},    {"mega128RFA1", 112}, {"90pwm3B", 99},     {"mega8", 42},
      {"mega8a", 42},     {"mega", 0},       {"", 0},             {"ATtiny13", 0},      {"mega16", 51},
  };
  for (const auto& c : cases) EXPECT_EQ(find_chip(c.name), c.row - 1) << c.name;
}

TEST(ChipLookup, NameMatchingDisplayNamesAndFuseByteNames) {
  EXPECT_TRUE(chip_name_matches("b", "a|b|c") && chip_name_matches("C", "a|b|c") && chip_name_matches("abc", "ABC"));
  EXPECT_FALSE(chip_name_matches("ab", "abc|d") || chip_name_matches("abcd", "abc|d") ||
               chip_name_matches("a|b", "a|b") || chip_name_matches("", "a|b"));
  EXPECT_STREQ(chip_display_name(-1), "unknown");
  EXPECT_STREQ(chip_display_name(112), "unknown");
  EXPECT_STREQ(chip_display_name(111), "mega128RFA1");
  EXPECT_STREQ(chip_display_name(0), "86RF401");
  const char* const byte_names[] = {"???", "_LOCK", "_LOW", "_HIGH", "_EXT", "???"};
  for (int i = -1; i <= 4; ++i) EXPECT_STREQ(fuse_byte_name(i), byte_names[i + 1]) << i;
}

// The chip in use comes from the chip-access state and the run settings; each
// test starts from the start-up values and restores them.
class CurrentChip : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    isp_chip.chip_index = -1;
    settings = run_settings{};
  }
};

TEST_F(CurrentChip, IdentifiedChipWinsOverTheRequestedName) {
  EXPECT_EQ(current_chip_index(), -1);
  settings.requested_chip = "mega8A";
  EXPECT_EQ(current_chip_index(), 41);
  EXPECT_STREQ(current_chip().name, "mega8|mega8A");
  isp_chip.chip_index = 14;
  EXPECT_EQ(current_chip_index(), 14);
  EXPECT_EQ(flash_size(), 1024);
  EXPECT_EQ(eeprom_size(), 64);
  settings.requested_chip = "nosuchchip";
  isp_chip.chip_index = -1;
  EXPECT_EQ(current_chip_index(), -1);
}

TEST_F(CurrentChip, FlashDataSizeLeavesTheEraseCounterOut) {
  const struct {
    const char* chip;
    bool erase_counter;
    int flash_data;
  } cases[] = {
      {"mega8", false, 8192}, {"mega8", true, 8190}, {"mega2560", true, 262142}, {"tiny13", false, 1024},
  };
  for (const auto& c : cases) {
    settings.requested_chip = c.chip;
    settings.use_erase_counter = c.erase_counter;
    EXPECT_EQ(flash_data_size(), c.flash_data) << c.chip << " counter " << c.erase_counter;
  }
}

TEST_F(CurrentChip, SckTimingInOscillatorClocks) {
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
}

}  // namespace

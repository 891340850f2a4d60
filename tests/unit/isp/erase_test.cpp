// Chip erase against the chip model: the instruction sequence, the reset cycle,
// re-identification, lock state and the tiny12 erase bug correction.
#include <gtest/gtest.h>

#include "isp/chip_erase.h"
#include "isp/isp_chip.h"
#include "tests/support/chip_bench.h"
#include "tests/support/status_of.h"

namespace {

using isp_test::chip_bench;
using strings = std::vector<std::string>;

void programmed_and_locked(vt::chip_state& s) {
  for (size_t a = 0; a < s.flash.size(); a += 3) s.flash[a] = 0x00;
  for (size_t a = 0; a < s.eeprom.size(); a += 2) s.eeprom[a] = 0x42;
  s.lock = 0xFC;
}

TEST(ChipErase, Tiny12NeedsTheCorrectionCycle) {
  chip_bench b("tiny12", "tiny12", {}, {}, programmed_and_locked);
  b.start();
  ASSERT_EQ(status_of(chip_erase), -1) << b.output();
  const strings identify = {"AC 53 00 00", "30 00 00 00", "30 00 01 00", "30 00 02 00"};
  strings expected = {"AC 80 00 00"};  // erase, identify, FLASH byte 0 written as 0xFF, erase, identify, lock read
  expected.insert(expected.end(), identify.begin(), identify.end());
  expected.insert(expected.end(), {"40 00 00 FF", "AC 80 00 00"});
  expected.insert(expected.end(), identify.begin(), identify.end());
  expected.push_back("58 00 00 00");
  EXPECT_EQ(b.framed_hex(), expected);
  const auto& ev = b.adapter->events;  // erase wait, reset released for 2 ms, then held again, each time
  ASSERT_GE(ev.size(), 5u);
  EXPECT_EQ(strings(ev.begin(), ev.begin() + 5), (strings{"transfer_block 4", "delay 30", "reset off", "delay 2", "reset on"}));
  EXPECT_EQ(b.adapter->count("delay 6"), 1) << "the FLASH byte waits its write delay";
  EXPECT_EQ(b.adapter->count("delay 2"), 2);
  const std::string out = b.output();
  EXPECT_LT(out.find("tiny12 erase bug correction\n"), out.find("Device erased\n"));
  EXPECT_NE(out.find("Device erased\n"), std::string::npos);
  EXPECT_EQ(b.contents().erase_cycles, 2u);
  EXPECT_EQ(b.contents().flash[0], 0xFF);
  EXPECT_EQ(b.contents().eeprom[0], 0xFF);
  EXPECT_TRUE(isp_chip.erased);
  EXPECT_EQ(isp_chip.lock_state, 0);
  EXPECT_GE(isp_chip.chip_index, 0);
}

TEST(ChipErase, OtherChipsEraseOnce) {
  const struct {
    const char* chip;
    int lock_state;
    const char* wait;
  } cases[] = {{"mega8", 0, "delay 20"}, {"90S2313", -1, "delay 30"}, {"tiny13", 0, "delay 20"}, {"90S4433", 0, "delay 30"}};
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip, {}, {}, programmed_and_locked);
    b.start();
    isp_chip.lock_state = 2;
    ASSERT_EQ(status_of(chip_erase), -1) << c.chip;
    EXPECT_EQ(b.framed(0xAC).size(), 2u) << "one erase and one Programming Enable";
    EXPECT_EQ(b.framed_hex()[0], "AC 80 00 00");
    EXPECT_EQ(b.adapter->events[1], c.wait) << c.chip;
    EXPECT_EQ(b.framed(0x58).size(), c.lock_state < 0 ? 0u : 1u) << c.chip;
    EXPECT_EQ(isp_chip.lock_state, c.lock_state) << c.chip;
    EXPECT_EQ(b.contents().erase_cycles, 1u);
    EXPECT_EQ(b.contents().flash[0], 0xFF);
    EXPECT_NE(b.output().find("Device erased\n"), std::string::npos);
    EXPECT_TRUE(isp_chip.erased);
  }
}

TEST(ChipErase, ResetInactiveTimeAndLostEcho) {
  chip_bench b("mega8", "mega8");
  b.start();
  isp_chip.reset_inactive_time = 7.5f;
  erase_command();
  EXPECT_EQ(b.adapter->events, (strings{"transfer_block 4", "delay 20", "reset off", "delay 7.5", "reset on"}));
  EXPECT_NE(b.output().find("\t% Erase reply  "), std::string::npos);
  vt::chip_options co;
  co.lose_step_after = 3;  // the chip slips a bit after the three signature reads
  chip_bench lost("mega8", "mega8", {}, co);
  lost.start();
  EXPECT_EQ(status_of(chip_erase), 40);
  EXPECT_NE(lost.output().find("\nSynchronisation lost\n"), std::string::npos);
  EXPECT_FALSE(isp_chip.erased);
}

}  // namespace

// Synchronisation, identification and chip erase against the chip model; the adapter interface's defaults.
#include <gtest/gtest.h>

#include "isp/chip_erase.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "tests/support/chip_bench.h"
#include "tests/support/status_of.h"

namespace {

using isp_test::chip_bench;
using strings = std::vector<std::string>;

bool has(const std::string& text, const std::string& what) { return text.find(what) != std::string::npos; }
std::string joined(const strings& list) {
  std::string all;
  for (const auto& item : list) all += item + "|";
  return all;
}

struct recorder : isp_test::line_adapter {  // every byte through transfer(), answered with its complement
  using line_adapter::line_adapter;
  std::vector<uint8_t> sent;
  uint8_t transfer(uint8_t out) override { return sent.emplace_back(out) ^ 0xFF; }
};

TEST(AdapterInterface, DefaultsGoThroughTransferInOrder) {
  chip_bench b("mega8", "mega8");
  recorder a(*b.chip, {});
  a.write(0x12);
  EXPECT_EQ(a.read(), 0xFF);  // 0x00 sent
  uint8_t in[3] = {1, 2, 3};
  a.read_block(in, 2);
  EXPECT_EQ(std::vector<uint8_t>(in, in + 3), (std::vector<uint8_t>{0xFF, 0xFF, 3}));
  EXPECT_EQ(a.sent, (std::vector<uint8_t>{0x12, 0x00, 0x00, 0x00}));
}

TEST(Identify, ResynchronisationByChipFlags) {
  const struct {
    const char* chip;
    int out_of_step;  // resync pulses the chip needs
    bool never_answers;
    int status;
    int pulses;  // resync pulses sent (the reset at the start not counted)
  } cases[] = {
      {"mega8", 0, false, -1, 0},  {"mega8", 1, false, -1, 1}, {"mega8", 4, false, -1, 4},  // reset pulses
      {"mega8", 9, false, 40, 4},  {"90S2313", 3, false, -1, 3},                           // SCK pulses
      {"90S2313", 31, false, -1, 31}, {"90S2313", 0, true, 40, 32},
  };
  for (const auto& c : cases) {
    vt::chip_options co;
    co.out_of_step = c.out_of_step;
    co.never_answers = c.never_answers;
    chip_bench b(c.chip, c.chip, {}, co);
    const std::string what = std::string(c.chip) + " " + std::to_string(c.out_of_step);
    EXPECT_EQ(status_of(synchronise_and_identify), c.status) << what;
    const bool sck = std::string(c.chip) == "90S2313";
    EXPECT_EQ(b.adapter->count("sck_pulse"), sck ? c.pulses : 0) << what;
    EXPECT_EQ(b.adapter->count("reset_pulse"), sck ? 1 : c.pulses + 1) << what;
    const std::string out = b.output();
    EXPECT_EQ(has(out, "\t% Try " + std::to_string(c.pulses) + " to resync by " +
                           (sck ? "SCK pulse" : "reset pulse") + "\t% PgmOn reply"), c.pulses > 0) << out;
    EXPECT_EQ(has(out, "\t% Synchronised after " + std::to_string(c.pulses + 1) + " try\n"), c.status == -1);
    EXPECT_EQ(has(out, "Can't resync\n"), c.status != -1) << out;
    EXPECT_EQ(has(out, "GetID"), c.status == -1) << "signature read only when synchronised";
  }
}

TEST(Identify, NoSynchronisationLoopOn90S1200) {  // it does not echo Programming Enable
  chip_bench b("90S1200", "90S1200");
  EXPECT_EQ(status_of(synchronise_and_identify), -1);
  EXPECT_EQ(b.framed(0xAC).size(), 1u);
  EXPECT_EQ(b.adapter->count("sck_pulse") + b.adapter->count("reset_pulse"), 1);
  EXPECT_FALSE(has(b.output(), "Synchronised") || has(b.output(), "Try"));
}

TEST(ChipErase, Tiny12NeedsTheCorrectionCycle) {
  chip_bench b("tiny12", "tiny12", {}, {}, [](vt::chip_state& s) { s.flash[0] = s.eeprom[0] = 0x42; });
  b.start();
  ASSERT_EQ(status_of(chip_erase), -1) << b.output();
  const char* identify = "AC 53 00 00|30 00 00 00|30 00 01 00|30 00 02 00|";
  // Erase, identify, FLASH byte 0 written as 0xFF, erase, identify, lock read.
  EXPECT_EQ(joined(b.framed_hex()), "AC 80 00 00|" + (identify + ("40 00 00 FF|AC 80 00 00|" + (identify + std::string("58 00 00 00|")))));
  // The erase wait, the reset released for 2 ms and then held again, each time.
  EXPECT_EQ(joined(b.adapter->events).rfind("transfer_block 4|delay 30|reset off|delay 2|reset on|", 0), 0u);
  EXPECT_EQ(b.adapter->count("delay 6"), 1) << "the FLASH byte waits its write delay";
  EXPECT_EQ(b.adapter->count("delay 2"), 2);
  EXPECT_LT(b.output().find("tiny12 erase bug correction\n"), b.output().find("Device erased\n"));
  EXPECT_EQ(b.contents().erase_cycles, 2u);
  EXPECT_EQ(b.contents().eeprom[0], 0xFF);
  EXPECT_TRUE(isp_chip.erased);
}

}  // namespace

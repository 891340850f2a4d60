// Synchronisation and identification against the chip model.
#include <gtest/gtest.h>

#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "tests/support/chip_bench.h"
#include "tests/support/status_of.h"

namespace {

using isp_test::adapter_options;
using isp_test::chip_bench;
using strings = std::vector<std::string>;

int count_of(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
  return n;
}

bool has(const std::string& text, const std::string& what) { return text.find(what) != std::string::npos; }

TEST(Identify, EveryChipOfTheModelIsFoundByItsSignatureInBothAdapterModes) {
  for (bool block : {true, false}) {
    for (const char* name : {"mega8", "90S2313", "tiny13", "mega2560", "tiny2313", "90S4433", "tiny12", "mega328P"}) {
      adapter_options ao;
      ao.block = block;
      chip_bench b(name, name, ao);
      ASSERT_EQ(status_of(synchronise_and_identify), -1) << name;
      ASSERT_GE(isp_chip.chip_index, 0) << name;
      const char* found = chip_table[isp_chip.chip_index].name;
      EXPECT_TRUE(chip_name_matches(name, found)) << name;
      EXPECT_TRUE(has(b.output(), "Device connected, " + std::string(found) + " detected\n")) << b.output();
      EXPECT_TRUE(has(b.output(), "\t% Synchronised after 1 try\n")) << name;
      EXPECT_EQ(b.adapter->count("sck_pulse") + b.adapter->count("reset_pulse"), 1) << "only the reset at the start";
    }
  }
  chip_bench b("mega8", "mega8");
  synchronise_and_identify();
  EXPECT_EQ(strings(b.adapter->events.begin(), b.adapter->events.begin() + 4),
            (strings{"reset on", "delay 100", "reset_pulse", "delay 100"}));
  EXPECT_EQ(b.output().rfind("\t% Reset\n", 0), 0u);
  EXPECT_EQ(b.framed_hex(), (strings{"AC 53 00 00", "30 00 00 00", "30 00 01 00", "30 00 02 00"}));
  EXPECT_TRUE(has(b.output(), "\t% Read ID: 0x1E9307\n"));
}

TEST(Identify, ResynchronisationByChipFlags) {
  const struct {
    const char* chip;
    int out_of_step;  // resync pulses the chip needs
    bool never_answers;
    int status;
    int pulses;  // resync pulses sent (the reset at the start not counted)
  } cases[] = {
      {"mega8", 1, false, -1, 1},  // reset pulse method
      {"mega8", 4, false, -1, 4},
      {"mega8", 9, false, status_sync_lost, 4},
      {"90S2313", 3, false, -1, 3},  // SCK pulse method
      {"90S2313", 31, false, -1, 31},
      {"90S2313", 0, true, status_sync_lost, 32},
  };
  for (const auto& c : cases) {
    vt::chip_options co;
    co.out_of_step = c.out_of_step;
    co.never_answers = c.never_answers;
    chip_bench b(c.chip, c.chip, {}, co);
    const std::string what = std::string(c.chip) + " " + std::to_string(c.out_of_step);
    EXPECT_EQ(status_of(synchronise_and_identify), c.status) << what;
    const bool sck = std::string(c.chip) == "90S2313";
    EXPECT_EQ(sck ? b.adapter->count("sck_pulse") : b.adapter->count("reset_pulse") - 1, c.pulses) << what;
    const std::string out = b.output();
    EXPECT_EQ(count_of(out, "PgmOn reply"), c.pulses + 1) << out;
    for (int t = 1; t <= c.pulses; ++t) {
      EXPECT_TRUE(has(out, "\t% Try " + std::to_string(t) + " to resync by " + (sck ? "SCK pulse" : "reset pulse") +
                               "\t% PgmOn reply")) << out;
    }
    if (c.status == -1) {
      EXPECT_TRUE(has(out, "\t% Synchronised after " + std::to_string(c.pulses + 1) + " try\n")) << out;
    } else {
      EXPECT_TRUE(has(out, "Can't resync\n")) << out;
      EXPECT_FALSE(has(out, "GetID")) << "no signature read";
    }
  }
}

TEST(Identify, NoSynchronisationLoopOn90S1200) {  // no echo to Programming Enable; the signature is read anyway
  chip_bench b("90S1200", "90S1200");
  EXPECT_EQ(status_of(synchronise_and_identify), -1);
  EXPECT_EQ(b.framed(0xAC).size(), 1u);
  EXPECT_EQ(b.adapter->count("sck_pulse") + b.adapter->count("reset_pulse"), 1);
  EXPECT_FALSE(has(b.output(), "Synchronised") || has(b.output(), "Try"));
  EXPECT_TRUE(has(b.output(), "Device connected, 90S1200 detected\n"));
}

TEST(Identify, SharedSignatureChoosesByRequestedName) {
  const std::pair<const char*, const char*> cases[] = {
      {"tiny22L", "tiny22L"}, {"tiny22", "tiny22"}, {"mega8", "tiny22"}, {"TINY22l", "tiny22L"}};
  for (const auto& [requested, detected] : cases) {
    chip_bench b("tiny22", requested);
    ASSERT_EQ(status_of(synchronise_and_identify), -1);
    ASSERT_GE(isp_chip.chip_index, 0);
    EXPECT_STREQ(chip_table[isp_chip.chip_index].name, detected) << requested;
  }
}

TEST(Identify, UnknownSignaturesAndLostEcho) {
  const std::pair<uint32_t, const char*> cases[] = {
      {0x000102, "Device connected, but not recognised, ID: 0x000102 (looks as protected)\n"},
      {0x1E9999, "Device connected, but not recognised, ID: 0x1E9999\n"}};
  for (const auto& [signature, message] : cases) {
    vt::chip_options co;
    co.override_signature = true;
    co.signature = signature;
    chip_bench b("mega8", "mega8", {}, co);
    EXPECT_EQ(status_of(synchronise_and_identify), -1);
    EXPECT_EQ(isp_chip.chip_index, -1);
    EXPECT_TRUE(has(b.output(), message)) << b.output();
  }
  for (bool block : {true, false}) {
    vt::chip_options co;
    co.lose_step_after = 1;  // the chip slips a bit after the first signature read
    adapter_options ao;
    ao.block = block;
    chip_bench b("mega8", "mega8", ao, co);
    EXPECT_EQ(status_of(synchronise_and_identify), status_sync_lost);
    EXPECT_TRUE(has(b.output(), "\nSynchronisation lost\n"));
  }
}

}  // namespace

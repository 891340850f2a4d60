// Synchronisation, identification and power-up/down against the chip model.
#include <gtest/gtest.h>

#include "adapter/spi_adapter.h"
#include "devices/chip_desc.h"
#include "driver/messages.h"
#include "isp/identify.h"
#include "isp/isp_chip.h"
#include "isp/power.h"
#include "tests/support/status_of.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::adapter_options;
using isp_test::chip_bench;

int count_of(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
  return n;
}

int run_identify(chip_bench&) { return status_of(synchronise_and_identify); }

TEST(Identify, EveryChipOfTheModelIsFoundByItsSignatureInBothAdapterModes) {
  const char* names[] = {"mega8", "90S2313", "tiny13", "mega2560", "tiny2313", "90S4433", "tiny12", "mega328P"};
  for (bool block : {true, false}) {
    for (const char* name : names) {
      adapter_options ao;
      ao.block = block;
      chip_bench b(name, name, ao);
      ASSERT_EQ(run_identify(b), -1) << name;
      ASSERT_GE(isp_chip.chip_index, 0) << name;
      EXPECT_TRUE(chip_name_matches(name, chip_table[isp_chip.chip_index].name)) << name;
      const std::string out = b.output();
      EXPECT_NE(out.find("Device connected, " + std::string(chip_table[isp_chip.chip_index].name) + " detected\n"),
                std::string::npos)
          << out;
      EXPECT_NE(out.find("\t% Synchronised after 1 try\n"), std::string::npos) << name;
      EXPECT_EQ(b.adapter->count("sck_pulse") + b.adapter->count("reset_pulse"), 1) << "only the reset at the start";
    }
  }
}

TEST(Identify, ResetSequenceComesFirst) {
  chip_bench b("mega8", "mega8");
  run_identify(b);
  ASSERT_GE(b.adapter->events.size(), 4u);
  EXPECT_EQ(b.adapter->events[0], "reset on");
  EXPECT_EQ(b.adapter->events[1], "delay 100");
  EXPECT_EQ(b.adapter->events[2], "reset_pulse");
  EXPECT_EQ(b.adapter->events[3], "delay 100");
  EXPECT_EQ(b.output().rfind("\t% Reset\n", 0), 0u);
  const auto framed = b.framed_hex();
  ASSERT_EQ(framed.size(), 4u);
  EXPECT_EQ(framed[0], "AC 53 00 00");
  EXPECT_EQ(framed[1], "30 00 00 00");
  EXPECT_EQ(framed[3], "30 00 02 00");
  EXPECT_NE(b.output().find("\t% Read ID: 0x1E9307\n"), std::string::npos);
}

struct resync_case {
  const char* chip;
  int out_of_step;  // resync pulses the chip needs
  int status;
  int pulses;       // resync pulses sent (the reset at the start not counted)
  const char* pulse;
  int enables;      // Programming Enable instructions in all
};

TEST(Identify, ResynchronisationByChipFlags) {
  const resync_case cases[] = {
      {"mega8", 1, -1, 1, "reset_pulse", 2},          // reset pulse method
      {"mega8", 4, -1, 4, "reset_pulse", 5},
      {"mega8", 9, status_sync_lost, 4, "reset_pulse", 5},
      {"90S2313", 3, -1, 3, "sck_pulse", 4},          // SCK pulse method, answers after the third pulse
      {"90S2313", 31, -1, 31, "sck_pulse", 32},
  };
  for (const auto& c : cases) {
    vt::chip_options co;
    co.out_of_step = c.out_of_step;
    chip_bench b(c.chip, c.chip, {}, co);
    EXPECT_EQ(run_identify(b), c.status) << c.chip << " " << c.out_of_step;
    const int reset_pulses = b.adapter->count("reset_pulse") - 1;
    EXPECT_EQ(std::string(c.pulse) == "reset_pulse" ? reset_pulses : b.adapter->count("sck_pulse"), c.pulses)
        << c.chip << " " << c.out_of_step;
    const std::string out = b.output();
    EXPECT_EQ(count_of(out, "PgmOn reply"), c.enables) << out;
    const char* method = std::string(c.pulse) == "reset_pulse" ? "reset pulse" : "SCK pulse";
    for (int t = 1; t <= c.pulses; ++t) {
      EXPECT_NE(out.find("\t% Try " + std::to_string(t) + " to resync by " + method + "\t% PgmOn reply"),
                std::string::npos)
          << out;
    }
    if (c.status == -1) {
      EXPECT_NE(out.find("\t% Synchronised after " + std::to_string(c.enables) + " try\n"), std::string::npos) << out;
    } else {
      EXPECT_NE(out.find("Can't resync\n"), std::string::npos) << out;
      EXPECT_EQ(out.find("GetID"), std::string::npos) << "no signature read";
    }
  }
}

TEST(Identify, SckResyncGivesUpAfter32Pulses) {
  vt::chip_options co;
  co.never_answers = true;
  chip_bench b("90S2313", "90S2313", {}, co);
  EXPECT_EQ(run_identify(b), status_sync_lost);
  EXPECT_EQ(b.adapter->count("sck_pulse"), 32);
  EXPECT_EQ(count_of(b.output(), "PgmOn reply"), 33);
}

TEST(Identify, NoSynchronisationLoopOn90S1200) {
  // The 90S1200 gives no echo to Programming Enable; its signature is read anyway.
  chip_bench b("90S1200", "90S1200");
  EXPECT_EQ(run_identify(b), -1);
  EXPECT_EQ(b.framed(0xAC).size(), 1u);
  EXPECT_EQ(b.adapter->count("sck_pulse"), 0);
  EXPECT_EQ(b.adapter->count("reset_pulse"), 1);
  const std::string out = b.output();
  EXPECT_EQ(out.find("Synchronised"), std::string::npos);
  EXPECT_EQ(out.find("Try"), std::string::npos);
  EXPECT_NE(out.find("Device connected, 90S1200 detected\n"), std::string::npos);
}

TEST(Identify, SharedSignatureChoosesByRequestedName) {
  struct {
    const char* requested;
    const char* detected;
  } cases[] = {{"tiny22L", "tiny22L"}, {"tiny22", "tiny22"}, {"mega8", "tiny22"}, {"TINY22l", "tiny22L"}};
  for (const auto& c : cases) {
    chip_bench b("tiny22", c.requested);
    ASSERT_EQ(run_identify(b), -1);
    ASSERT_GE(isp_chip.chip_index, 0);
    EXPECT_STREQ(chip_table[isp_chip.chip_index].name, c.detected) << c.requested;
  }
}

TEST(Identify, UnknownSignatures) {
  struct {
    uint32_t signature;
    const char* message;
  } cases[] = {{0x000102, "Device connected, but not recognised, ID: 0x000102 (looks as protected)\n"},
               {0x1E9999, "Device connected, but not recognised, ID: 0x1E9999\n"}};
  for (const auto& c : cases) {
    vt::chip_options co;
    co.override_signature = true;
    co.signature = c.signature;
    chip_bench b("mega8", "mega8", {}, co);
    EXPECT_EQ(run_identify(b), -1);
    EXPECT_EQ(isp_chip.chip_index, -1);
    EXPECT_NE(b.output().find(c.message), std::string::npos) << b.output();
  }
}

TEST(Identify, WrongSignatureEchoLosesSynchronisation) {
  for (bool block : {true, false}) {
    vt::chip_options co;
    co.lose_step_after = 1;  // the chip slips a bit after the first signature read
    adapter_options ao;
    ao.block = block;
    chip_bench b("mega8", "mega8", ao, co);
    EXPECT_EQ(run_identify(b), status_sync_lost);
    EXPECT_NE(b.output().find("\nSynchronisation lost\n"), std::string::npos);
  }
}

TEST(Power, UpAndDownWithMessagesOnce) {
  adapter_options ao;
  ao.power = true;
  ao.enable = true;
  chip_bench b("mega8", "mega8", ao);
  power_down();  // before power_up: nothing
  EXPECT_TRUE(b.adapter->events.empty());
  power_up();
  EXPECT_TRUE(isp_chip.powered);
  EXPECT_TRUE(b.adapter->lines.powered);
  EXPECT_TRUE(b.adapter->lines.driven);
  ASSERT_EQ(run_identify(b), -1);
  b.adapter->events.clear();
  power_down();
  power_down();
  const std::vector<std::string> expected = {"reset off", "enable_off", "power_off"};
  EXPECT_EQ(b.adapter->events, expected);
  EXPECT_FALSE(b.adapter->lines.powered);
  EXPECT_TRUE(b.adapter->lines.reset) << "RESET pin released (high)";
  EXPECT_EQ(b.output().substr(b.output().find("Reset pin")),
            "Reset pin released\nAdapter disabled\nPower OFF\n");
  EXPECT_EQ(b.output().rfind("Power ON\nAdapter enabled\n", 0), 0u);
}

TEST(Power, NoPowerOrEnableLinesGiveNoMessages) {
  chip_bench b("mega8", "mega8");
  power_up();
  const std::vector<std::string> up = {"led_error off", "led_ok off"};
  EXPECT_EQ(b.adapter->events, up);
  b.adapter->events.clear();
  power_down();
  const std::vector<std::string> down = {"reset off"};
  EXPECT_EQ(b.adapter->events, down);
  EXPECT_EQ(b.output(), "Reset pin released\n");
}

}  // namespace

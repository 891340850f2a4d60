// The parallel-port factory's refusals and SCK phases (the wirings run end to end), and the -p value.
#include "lpt/create_lpt_adapter.h"

#include <gtest/gtest.h>

#include <string>

#include "isp/current_chip.h"
#include "lpt/lpt_port_option.h"
#include "tests/support/fake_lpt_port.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

TEST(CreateLptAdapter, Refusals) {
  const std::string hint = "\n\nFor short help type\n\tzindle -h\n";
  const struct {
    const char* text;
    bool off_after;
    std::string message;  // the last thing reported
    int ports_opened;
  } cases[] = {
      {"ft4232", false, "Invalid value 'ft4232' for switch A" + hint, 0},
      {"bx", false, "Invalid value 'x' for switch A" + hint, 0},
      {nullptr, true, "Can't control LPT data direction bit (required for -AZ)\n", 1},  // a port without it
  };
  for (const auto& c : cases) {
    message_capture capture(3);
    settings.requested_chip = "mega8";
    settings.outputs_off_after = c.off_after;
    int opened = 0;
    const int code = status_of([&] {
      create_lpt_adapter(c.text, nullptr, current_adapter_options(), [&](const char*) {
        ++opened;
        return std::unique_ptr<lpt_port>(std::make_unique<fake_lpt_port>(1.0f));
      });
    });
    const std::string text = capture.text();
    EXPECT_EQ(code, 70) << text;
    EXPECT_EQ(text.substr(text.size() - std::min(text.size(), c.message.size())), c.message);
    EXPECT_EQ(opened, c.ports_opened);
  }
}

// Low and high clock periods each, 5 % margin for a fast oscillator; a given SCK is split in halves.
TEST(CreateLptAdapter, SckPhases) {
  const struct {
    uint32_t frequency;
    bool is_sck;
    int low, high;
    float setup, hold;
  } cases[] = {{800000, false, 2, 2, 2.625f, 2.625f},       {1000000, false, 2, 5, 2.1f, 5.25f},
               {16000000, false, 3, 3, 0.196875f, 0.196875f}, {800000, true, 2, 2, 0.625f, 0.625f},
               {100000, true, 5, 17, 5.0f, 5.0f}};
  for (const auto& c : cases) {
    const sck_phases p = sck_phases_for(c.frequency, c.is_sck, c.low, c.high);
    EXPECT_NEAR(p.setup_us, c.setup, 1e-5) << c.frequency;
    EXPECT_NEAR(p.hold_us, c.hold, 1e-5) << c.frequency;
  }
}

// Numbers 1..3 name LPT1..3; 4..FF are refused; from 0x100 the value is a base address.
TEST(LptPortOption, ValuesOfTheSwitch) {
  const struct {
    const char* text;
    uint32_t base;  // 0: refused
    const char* message;  // all that is reported up to level 3
  } cases[] = {
      {"3", 0x3BC, "\t% LPT port number 3\n\t% LPT base address 0x3BC\n"},
      {"100", 0x100, "\t% LPT base address 0x100\n"},
      {"4", 0, "Invalid value for switch -p\n"},
      {"FF", 0, "Invalid value for switch -p\n"},
      {"0", 0, "Invalid value for switch -p\n"},
      {"lpt", 0, "Invalid value for switch -p\n"},
  };
  for (const auto& c : cases) {
    message_capture capture(3);
    lpt_port_choice choice;
    const int code = status_of([&] { choice = parse_lpt_port_option(c.text); });
    EXPECT_EQ(capture.text(), c.message) << c.text;
    EXPECT_EQ(code, c.base ? -1 : 70) << c.text;
    EXPECT_EQ(choice.base, c.base) << c.text;
  }
  EXPECT_EQ(lpt_base_address(0), 0u);
}

}  // namespace

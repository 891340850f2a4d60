// The parallel-port factory (detection is checked end to end on the emulated wirings) and the -p value.
#include "lpt/create_lpt_adapter.h"

#include <gtest/gtest.h>

#include <string>

#include "isp/current_chip.h"
#include "lpt/lpt_adapter.h"
#include "lpt/lpt_port_option.h"
#include "tests/support/fake_lpt_port.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

struct factory_run {
  std::unique_ptr<spi_adapter> adapter;
  std::string text;  // everything reported up to level 3
  int code = -1;     // app_error code, -1 when none
  int ports_opened = 0;
  lpt_adapter* lpt() const { return dynamic_cast<lpt_adapter*>(adapter.get()); }
};

struct run_options {
  uint32_t clock = 800000;
  bool clock_is_sck = false, off_after = false, power_from_data = false;
};

factory_run run(const char* adapter_text, const run_options& o = {}) {
  factory_run r;
  message_capture capture(3);
  settings.requested_chip = "mega8";
  settings.clock_frequency = o.clock;
  settings.clock_is_sck = o.clock_is_sck;
  settings.outputs_off_after = o.off_after;
  settings.power_from_data = o.power_from_data;
  r.code = status_of([&] {
    r.adapter = create_lpt_adapter(adapter_text, nullptr, current_adapter_options(), [&](const char*) {
      ++r.ports_opened;
      return std::unique_ptr<lpt_port>(std::make_unique<fake_lpt_port>(1.0f));
    });
  });
  r.text = capture.text();
  return r;
}

bool has(const factory_run& r, const std::string& line) { return r.text.find(line) != std::string::npos; }

TEST(CreateLptAdapter, RefusalsBeforeThePortIsOpened) {
  const std::string hint = "\n\nFor short help type\n\tzindle -h\n";
  const struct {
    const char* text;
    std::string message;
  } cases[] = {
      {"bx", "Invalid value 'x' for switch A" + hint},
      {"ft4232", "Invalid value 'ft4232' for switch A" + hint},
      {"aa", "Invalid value 'a' for switch A" + hint},
      {"m:mosi=D5:sck=D6:reset=D4", "miso must be defined\n"},
      {"m:mosi=D5:sck=D6:reset=STROBE:miso=ACK", "reset must be in D0..D7 lines\n"},
      {"m:mosi=D5:sck=D6:reset=D4:miso=ACK:xtal=SELECT", "xtal must be in D0..D7 lines\n"},
  };
  for (const auto& c : cases) {
    const factory_run r = run(c.text);
    EXPECT_EQ(r.code, 70) << c.text;
    EXPECT_EQ(r.text, c.message) << c.text;
    EXPECT_EQ(r.ports_opened, 0) << c.text;
  }
}

TEST(CreateLptAdapter, MapsAndOptions) {
  const factory_run m = run("m:mosi=D5:miso=ACK:sck=D6:reset=~D4");
  EXPECT_TRUE(has(m, "Adapter ''\n\t% LPT write cycle 1.00us\n\t%  adapter mode\n")) << m.text;
  EXPECT_EQ(m.lpt()->pins->signals[signal_reset].active_bits, 0x10u);  // asserting drives D4 high
  EXPECT_EQ(run("x").lpt()->pins->signals[signal_reset].inactive_bits, 0x04u);  // asserting drives D2 low
  run_options o;
  o.off_after = true;
  EXPECT_TRUE(has(run(nullptr, o), "Can't control LPT data direction bit (required for -AZ)\n"));
  o.off_after = false;
  o.power_from_data = true;
  EXPECT_EQ(run(nullptr, o).lpt()->pins->signals[signal_power].active_bits, 0x87u);
  EXPECT_FALSE(run("x", o).adapter->has_power());  // the other types ignore it
  o.clock = 0;
  EXPECT_TRUE(has(run("m:mosi=D5:miso=ACK:sck=D6:reset=D4:name=Plain", o), "Plain has no XTAL output\n"));
}

TEST(CreateLptAdapter, TimingFromOscillatorOrSck) {
  const factory_run r = run(nullptr);
  EXPECT_TRUE(has(r, "\t% MCU oscillator frequency = 0.80MHz\n\t% setup 2.62us, hold 2.62us\n"
                     "\t% actual SCK frequency 143kHz\n")) << r.text;
  EXPECT_EQ(r.lpt()->bit_length, 6u);  // 3 writes low, 3 high at 1 us
  run_options sck;
  sck.clock_is_sck = true;
  const factory_run s = run(nullptr, sck);
  EXPECT_TRUE(has(s, "\t% SPI SCK requested frequency = 0.80MHz\n\t% setup 0.62us, hold 0.62us\n")) << s.text;
  EXPECT_EQ(s.lpt()->bit_length, 2u);
  // Two clock periods each, 5 % margin for a fast oscillator; a given SCK is split in halves.
  const struct {
    uint32_t frequency;
    bool is_sck;
    int low, high;
    float setup, hold;
  } cases[] = {{1000000, false, 2, 5, 2.1f, 5.25f}, {16000000, false, 3, 3, 0.196875f, 0.196875f},
               {100000, true, 5, 17, 5.0f, 5.0f}};
  for (const auto& c : cases) {
    const sck_phases p = sck_phases_for(c.frequency, c.is_sck, c.low, c.high);
    EXPECT_NEAR(p.setup_us, c.setup, 1e-5) << c.frequency;
    EXPECT_NEAR(p.hold_us, c.hold, 1e-5) << c.frequency;
  }
}

TEST(LptPortOption, ValuesOfTheSwitch) {
  const struct {
    const char* text;
    const char* path;  // null: refused
    uint32_t base;
    const char* message;  // all that is reported up to level 3
  } cases[] = {
      {nullptr, "", 0x278, "\t% LPT port number 2\n\t% LPT base address 0x278\n"},
      {"3", "", 0x3BC, "\t% LPT port number 3\n\t% LPT base address 0x3BC\n"},
      {"100", "", 0x100, "\t% LPT base address 0x100\n"},
      {"278,5", "", 0x278, "warning: forced LPT cycle time will be ignored\n\t% LPT base address 0x278\n"},
      {"/dev/parport1", "/dev/parport1", 0, ""},
      {"4", nullptr, 0, "Invalid value for switch -p\n"},
      {"FF", nullptr, 0, "Invalid value for switch -p\n"},
      {"0", nullptr, 0, "Invalid value for switch -p\n"},
      {"lpt", nullptr, 0, "Invalid value for switch -p\n"},
  };
  for (const auto& c : cases) {
    message_capture capture(3);
    lpt_port_choice choice;
    const int code = status_of([&] { choice = parse_lpt_port_option(c.text); });
    const char* context = c.text ? c.text : "null";
    EXPECT_EQ(capture.text(), c.message) << context;
    EXPECT_EQ(code, c.path ? -1 : 70) << context;
    EXPECT_EQ(choice.path, c.path ? c.path : "") << context;
    EXPECT_EQ(choice.base, c.base) << context;
  }
  EXPECT_EQ(lpt_base_address(1), 0x378u);
  EXPECT_EQ(lpt_base_address(0), 0u);
}

}  // namespace

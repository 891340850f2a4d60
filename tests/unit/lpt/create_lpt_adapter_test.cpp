#include "lpt/create_lpt_adapter.h"

#include <gtest/gtest.h>

#include <string>

#include "isp/current_chip.h"
#include "lpt/create_adapter.h"
#include "lpt/lpt_adapter.h"
#include "lpt/lpt_port_option.h"
#include "tests/support/message_capture.h"
#include "tests/support/fake_lpt_port.h"

namespace {

using loop_rule = uint8_t (*)(uint8_t data, uint8_t control);

// Loop-backs at register level, as the detections expect to see them.
uint8_t no_adapter(uint8_t, uint8_t) { return 0x00; }
uint8_t stk200(uint8_t d, uint8_t) { return (d & 0x01) ? 0x20 : 0x00; }
uint8_t stk300(uint8_t d, uint8_t) { return (d & 0x01) ? 0x80 : 0x00; }
uint8_t byteblaster(uint8_t d, uint8_t) { return ((d & 0x80) ? 0x40 : 0) | ((d & 0x20) ? 0x20 : 0); }
uint8_t byteblaster_mv(uint8_t d, uint8_t c) { return byteblaster(d, c) | ((d & 0x40) ? 0x08 : 0); }
uint8_t byteblaster2(uint8_t d, uint8_t) { return (d & 0x10) ? 0x48 : 0x00; }

struct factory_run {
  std::unique_ptr<spi_adapter> adapter;
  std::string text;  // everything reported up to level 3
  int code = -1;     // app_error code, -1 when none
  int ports_opened = 0;
  std::shared_ptr<port_log> log;

  lpt_adapter* lpt() const { return dynamic_cast<lpt_adapter*>(adapter.get()); }
};

struct run_options {
  loop_rule loop = no_adapter;
  bool force = false;
  uint32_t clock = 800000;
  bool clock_is_sck = false;
  bool off_after = false;
  bool power_from_data = false;
};

factory_run run(const char* adapter_text, const run_options& o = {}, const char* port_text = nullptr) {
  factory_run r;
  message_capture capture(3);
  settings.requested_chip = "mega8";
  settings.force = o.force;
  settings.clock_frequency = o.clock;
  settings.clock_is_sck = o.clock_is_sck;
  settings.outputs_off_after = o.off_after;
  settings.power_from_data = o.power_from_data;
  auto opener = [&](const char*) -> std::unique_ptr<lpt_port> {
    ++r.ports_opened;
    auto port = std::make_unique<fake_lpt_port>(1.0f);
    port->loop_back = o.loop;
    r.log = port->log;
    return port;
  };
  try {
    r.adapter = create_lpt_adapter(adapter_text, port_text, current_adapter_options(), opener);
  } catch (const app_error& e) {
    r.code = e.code;
  }
  r.text = capture.text();
  return r;
}

bool has(const factory_run& r, const std::string& line) { return r.text.find(line) != std::string::npos; }

TEST(CreateLptAdapter, TypesAndDetection) {
  struct type_case {
    const char* letter;
    loop_rule loop;
    bool force;
    const char* name;     // adapter built with this map, or null for a failure
    const char* message;  // a line that must be reported
  } cases[] = {
      {nullptr, no_adapter, false, "KALDO", "\t% KALDO adapter mode\n"},
      {"", no_adapter, false, "KALDO", "\t% KALDO adapter mode\n"},
      {"x", no_adapter, false, "XILINX", "\t% XILINX adapter mode\n"},
      {"B", byteblaster, false, "ByteBlaster", "\t% ByteBlaster found\n"},
      {"b", byteblaster_mv, false, "ByteBlaster", "\t% ByteBlasterMV found\n"},
      {"b", byteblaster2, false, "ByteBlasterII", "\t% ByteBlaster-II found\n"},
      {"b", no_adapter, false, nullptr, "\t% ByteBlaster not found\nAltera ByteBlaster not found\n"},
      {"b", no_adapter, true, "ByteBlaster", "Altera ByteBlaster not found, but forced by '-!'\n"},
      {"s", stk200, false, "STK", "\t% Atmel adapter for STK200 found\n"},
      {"S", stk300, false, "STK", "\t% Atmel adapter for STK300 found\n"},
      {"s", no_adapter, false, nullptr, "\t% Atmel adapter for STK not found\nAtmel STK* adapter not found\n"},
      {"s", no_adapter, true, "STK", "Atmel STK* adapter not found, but forced by '-!'\n"},
      {"a", stk200, false, "STK", "\t% Atmel adapter for STK200 found\n"},
      {"a", byteblaster, false, "ByteBlaster", "\t% Atmel adapter for STK not found\n\t% ByteBlaster found\n"},
      {"a", byteblaster2, false, "ByteBlasterII", "\t% ByteBlaster-II found\n"},
      {"a", no_adapter, true, nullptr, "Known buffered adapter not found\n"},
  };
  for (const type_case& c : cases) {
    run_options o;
    o.loop = c.loop;
    o.force = c.force;
    const factory_run r = run(c.letter, o);
    const std::string context = std::string(c.letter ? c.letter : "null") + "\n" + r.text;
    EXPECT_TRUE(has(r, c.message)) << context;
    EXPECT_EQ(r.ports_opened, 1) << context;
    if (c.name == nullptr) {
      EXPECT_EQ(r.code, 70) << context;
      EXPECT_EQ(r.adapter, nullptr);
      continue;
    }
    ASSERT_NE(r.lpt(), nullptr) << context;
    EXPECT_STREQ(r.lpt()->pins->name, c.name) << context;
    EXPECT_STREQ(r.adapter->name(), "LPT soft SPI");
  }
}

TEST(CreateLptAdapter, ByteBlaster2DetectionSwitchesItsBufferOn) {
  run_options o;
  o.loop = byteblaster2;
  const factory_run r = run("b", o);
  ASSERT_NE(r.lpt(), nullptr);
  bool control_0b = false;
  for (size_t i = 0; i + 1 < r.log->events.size(); ++i)
    if (r.log->events[i] == port_event{lpt_control, 0x0B, false} &&
        r.log->events[i + 1] == port_event{lpt_data, 0x00, false})
      control_0b = true;
  EXPECT_TRUE(control_0b);
}

TEST(CreateLptAdapter, RefusalsBeforeThePortIsOpened) {
  const std::string hint = "\n\nFor short help type\n\tzindle -h\n";
  struct refusal_case {
    const char* text;
    std::string message;
  } cases[] = {
      {"bx", "Invalid value 'x' for switch A" + hint},
      {"q", "Invalid value 'q' for switch A" + hint},
      {"ft4232", "Invalid value 'ft4232' for switch A" + hint},
      {"aa", "Invalid value 'a' for switch A" + hint},
      {"mX", "mosi must be defined\n"},
      {"m:mosi=D5:sck=D6:reset=D4", "miso must be defined\n"},
      {"m:mosi=D5:sck=D6:reset=STROBE:miso=ACK", "reset must be in D0..D7 lines\n"},
      {"m:mosi=D5:sck=D6:reset=D4:miso=ACK:xtal=SELECT", "xtal must be in D0..D7 lines\n"},
  };
  for (const refusal_case& c : cases) {
    const factory_run r = run(c.text);
    EXPECT_EQ(r.code, 70) << c.text;
    EXPECT_EQ(r.text, c.message) << c.text;
    EXPECT_EQ(r.ports_opened, 0) << c.text;
  }
}

TEST(CreateLptAdapter, UserMapAnnouncedAndResetSwapped) {
  const factory_run r = run("m:mosi=D5:miso=ACK:sck=D6:reset=~D4");
  ASSERT_NE(r.lpt(), nullptr) << r.text;
  EXPECT_TRUE(has(r, "Adapter ''\n\t% LPT write cycle 1.00us\n\t%  adapter mode\n")) << r.text;
  EXPECT_EQ(r.lpt()->pins->signals[signal_reset].active_bits, 0x10u);  // asserting drives D4 high
  EXPECT_EQ(r.lpt()->pins->signals[signal_reset].inactive_bits, 0u);

  const factory_run k = run("x");
  EXPECT_EQ(k.lpt()->pins->signals[signal_reset].inactive_bits, 0x04u);  // asserting drives D2 low
}

TEST(CreateLptAdapter, DefaultAdapterOptions) {
  run_options off_after;
  off_after.off_after = true;
  const factory_run z = run(nullptr, off_after);
  EXPECT_EQ(z.code, 70);
  EXPECT_TRUE(has(z, "Can't control LPT data direction bit (required for -AZ)\n")) << z.text;

  run_options power;
  power.power_from_data = true;
  const factory_run p = run(nullptr, power);
  ASSERT_NE(p.lpt(), nullptr);
  EXPECT_EQ(p.lpt()->pins->signals[signal_power].active_bits, 0x87u);
  EXPECT_TRUE(p.adapter->has_power());
  // The other types ignore both options.
  const factory_run x = run("x", power);
  ASSERT_NE(x.lpt(), nullptr);
  EXPECT_FALSE(x.adapter->has_power());
}

TEST(CreateLptAdapter, ClockGeneration) {
  run_options o0;
  o0.clock = 0;
  const factory_run x = run("x", o0);
  EXPECT_EQ(x.code, 70);
  EXPECT_TRUE(has(x, "Can't generate XTAL, XILINX has no XTAL output\n")) << x.text;

  o0.loop = stk200;
  const factory_run s = run("s", o0);
  ASSERT_NE(s.lpt(), nullptr) << s.text;
  EXPECT_EQ(s.lpt()->pins->signals[signal_xtal].active_bits, 0x40u);
  EXPECT_EQ(s.lpt()->pins->signals[signal_enable].inactive_bits, 0x0Cu);
  EXPECT_TRUE(s.lpt()->xtal_enabled);
  EXPECT_TRUE(has(s, "\t% 0.50MHz XTAL will be generated\n\t% with SCK low 2 periods, high 2 periods\n")) << s.text;

  o0.loop = no_adapter;
  const factory_run m = run("m:mosi=D5:miso=ACK:sck=D6:reset=D4:name=Plain", o0);
  EXPECT_TRUE(has(m, "Can't generate XTAL, Plain has no XTAL output\n")) << m.text;

  const factory_run k = run("s", {stk200});
  EXPECT_EQ(k.lpt()->pins->signals[signal_enable].inactive_bits, 0x4Cu);
  EXPECT_FALSE(k.lpt()->pins->defined(signal_xtal));
}

TEST(CreateLptAdapter, TimingFromOscillatorOrSck) {
  const factory_run r = run(nullptr);
  ASSERT_NE(r.lpt(), nullptr);
  EXPECT_TRUE(has(r, "\t% MCU oscillator frequency = 0.80MHz\n\t% setup 2.62us, hold 2.62us\n"
                     "\t% actual SCK frequency 143kHz\n"))
      << r.text;
  EXPECT_EQ(r.lpt()->bit_length, 6u);  // 3 writes low, 3 high at 1 us

  run_options sck;
  sck.clock_is_sck = true;
  const factory_run s = run(nullptr, sck);
  EXPECT_TRUE(has(s, "\t% SPI SCK requested frequency = 0.80MHz\n\t% setup 0.62us, hold 0.62us\n")) << s.text;
  EXPECT_EQ(s.lpt()->bit_length, 2u);

  struct phase_case {
    uint32_t frequency;
    bool is_sck;
    int low, high;
    float setup, hold;
  } cases[] = {
      {800000, false, 2, 2, 2.625f, 2.625f},
      {800000, true, 2, 2, 0.625f, 0.625f},
      {1000000, false, 2, 5, 2.1f, 5.25f},
      {16000000, false, 3, 3, 0.196875f, 0.196875f},
      {100000, true, 5, 17, 5.0f, 5.0f},
  };
  for (const phase_case& c : cases) {
    const sck_phases p = sck_phases_for(c.frequency, c.is_sck, c.low, c.high);
    EXPECT_NEAR(p.setup_us, c.setup, 1e-5) << c.frequency;
    EXPECT_NEAR(p.hold_us, c.hold, 1e-5) << c.frequency;
  }
}

TEST(LptPortOption, ValuesOfTheSwitch) {
  struct option_case {
    const char* text;
    const char* path;
    uint32_t base;
    const char* message;  // all that is reported up to level 3
  } cases[] = {
      {nullptr, "", 0x278, "\t% LPT port number 2\n\t% LPT base address 0x278\n"},
      {"1", "", 0x378, "\t% LPT port number 1\n\t% LPT base address 0x378\n"},
      {"3", "", 0x3BC, "\t% LPT port number 3\n\t% LPT base address 0x3BC\n"},
      {"378", "", 0x378, "\t% LPT base address 0x378\n"},
      {"100", "", 0x100, "\t% LPT base address 0x100\n"},
      {"278,5", "", 0x278, "warning: forced LPT cycle time will be ignored\n\t% LPT base address 0x278\n"},
      {"/dev/parport0,5", "/dev/parport0", 0, "warning: forced LPT cycle time will be ignored\n"},
      {"/dev/parport1", "/dev/parport1", 0, ""},
      {"10", nullptr, 0, "Invalid value for switch -p\n"},
      {"FF", nullptr, 0, "Invalid value for switch -p\n"},
      {"0", nullptr, 0, "Invalid value for switch -p\n"},
      {"lpt", nullptr, 0, "Invalid value for switch -p\n"},
      {"", nullptr, 0, "Invalid value for switch -p\n"},
  };
  for (const option_case& c : cases) {
    message_capture capture(3);
    lpt_port_choice choice;
    int code = -1;
    try {
      choice = parse_lpt_port_option(c.text);
    } catch (const app_error& e) {
      code = e.code;
    }
    const char* context = c.text ? c.text : "null";
    EXPECT_EQ(capture.text(), c.message) << context;
    if (c.path == nullptr) {
      EXPECT_EQ(code, 70) << context;
      continue;
    }
    EXPECT_EQ(code, -1) << context;
    EXPECT_EQ(choice.path, c.path) << context;
    EXPECT_EQ(choice.base, c.base) << context;
  }
}

TEST(CreateAdapter, FtdiNamesGoToTheFtdiFactory) {
  struct name_case {
    const char* text;
    bool ftdi;
  } cases[] = {
      {"ft2232", true},   {"FT2232H", true}, {"ft2232h:key=cbus4", true}, {"Ft4232H", true},
      {"ft4232", false},  {"ft223", false},  {"x", false},               {nullptr, false},
  };
  for (const name_case& c : cases) EXPECT_EQ(is_ftdi_adapter_name(c.text), c.ftdi) << (c.text ? c.text : "null");
}

}  // namespace

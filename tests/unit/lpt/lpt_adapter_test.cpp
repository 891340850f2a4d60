#include "lpt/lpt_adapter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "lpt/lpt_pin_table.h"
#include "tests/support/message_capture.h"
#include "tests/support/fake_lpt_port.h"

namespace {

using bytes = std::vector<uint8_t>;

// A map from entries, with reset swapped as the factory does.
std::unique_ptr<pin_map> map_of(const char* entries) {
  auto map = std::make_unique<pin_map>();
  load_pin_map(*map, entries, lpt_pin_table);
  std::swap(map->signals[signal_reset].active_bits, map->signals[signal_reset].inactive_bits);
  return map;
}

const char* const kaldo = "m:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=D3";

struct adapter_on_fake {
  adapter_on_fake(const char* entries, float setup, float hold, float cycle = 1.0f, uint8_t data = 0x00) {
    auto port = std::make_unique<fake_lpt_port>(cycle, data);
    fake = port.get();
    log = port->log;
    adapter = std::make_unique<lpt_adapter>(std::move(port), map_of(entries), setup, hold);
  }
  fake_lpt_port* fake;
  std::shared_ptr<port_log> log;
  std::unique_ptr<lpt_adapter> adapter;
};

// Default wiring, data lines D0..D3 high at start, L = H = 3 (2.625 us at 1 us
// per write): reset held (D4 low), MOSI D5, SCK D6; D0..D3 keep their level.
TEST(LptAdapter, PatternsOfTheDefaultWiring) {
  adapter_on_fake a(kaldo, 2.625f, 2.625f, 1.0f, 0x0F);
  EXPECT_EQ(a.adapter->bit_length, 6u);
  EXPECT_EQ(a.adapter->zero_bit, (bytes{0x0F, 0x0F, 0x0F, 0x4F, 0x4F, 0x4F}));
  EXPECT_EQ(a.adapter->one_bit, (bytes{0x2F, 0x2F, 0x2F, 0x6F, 0x6F, 0x6F}));
  EXPECT_EQ(a.adapter->reset_pulse_bytes, (bytes{0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x0F}));
  // Construction leaves reset released (D4 high), everything else inactive.
  EXPECT_EQ(a.adapter->data_shadow & 0xFF, 0x1Fu);
  EXPECT_NEAR(a.adapter->sck_frequency(), 1.0 / 7, 1e-9);
}

TEST(LptAdapter, PhasesRoundUpToWholeWritesAndNeverZero) {
  struct phase_case {
    float setup, hold, cycle;
    uint32_t bit_length;
    double mhz;
  } cases[] = {
      {0.5f, 0.5f, 1.0f, 2, 1.0 / 3},  {0.0f, 0.0f, 1.0f, 2, 1.0 / 3}, {1.0f, 1.01f, 1.0f, 3, 0.25},
      {2.625f, 0.2f, 0.2f, 15, 1.0 / 3.2},
  };
  for (const phase_case& c : cases) {
    adapter_on_fake a(kaldo, c.setup, c.hold, c.cycle);
    EXPECT_EQ(a.adapter->bit_length, c.bit_length) << c.setup << "/" << c.hold;
    EXPECT_NEAR(a.adapter->sck_frequency(), c.mhz, 1e-6);
  }
}

TEST(LptAdapter, TransferSendsMsbFirstAndSamplesMiso) {
  adapter_on_fake a(kaldo, 0.5f, 0.5f);
  a.adapter->set_reset(true);
  a.log->events.clear();
  // ACK high (status bit 6) for the answer bits 1 0 0 1 1 0 1 0.
  for (int bit : {1, 0, 0, 1, 1, 0, 1, 0}) a.fake->status_queue.push_back(bit ? 0x40 : 0x00);
  EXPECT_EQ(a.adapter->transfer(0xA5), 0x9A);
  const bytes z{0x00, 0x40}, o{0x20, 0x60};
  bytes expected;
  for (const bytes& b : {o, z, o, z, z, o, z, o}) expected.insert(expected.end(), b.begin(), b.end());
  expected.push_back(0x00);  // the shadow: reset held, lines at rest
  EXPECT_EQ(a.log->data_writes(), expected);
  EXPECT_EQ(a.log->events.size(), 8 * 2 + 1u);

  a.log->events.clear();
  a.adapter->write(0x80);
  bytes write_expected = o;
  for (int i = 0; i < 7; ++i) write_expected.insert(write_expected.end(), z.begin(), z.end());
  write_expected.push_back(0x00);
  EXPECT_EQ(a.log->data_writes(), write_expected);
}

TEST(LptAdapter, MisoPolarityFollowsThePinMap) {
  struct polarity_case {
    const char* miso;
    uint8_t status;  // register value on every bit
    uint8_t expected;
  } cases[] = {
      {"ACK", 0x40, 0xFF},  {"ACK", 0x00, 0x00},   // plain line
      {"~ACK", 0x40, 0x00}, {"~ACK", 0x00, 0xFF},  // user inversion
      {"BUSY", 0x80, 0x00}, {"BUSY", 0x00, 0xFF},  // register bit is the inverted line: electrical level
  };
  for (const polarity_case& c : cases) {
    const std::string entries = std::string("m:mosi=D5:sck=D6:reset=D4:miso=") + c.miso;
    adapter_on_fake a(entries.c_str(), 0.5f, 0.5f);
    a.fake->loop_back = [&](uint8_t, uint8_t) { return c.status; };
    EXPECT_EQ(a.adapter->read(), c.expected) << c.miso;
    EXPECT_EQ(a.adapter->transfer(0x55), c.expected) << c.miso;
  }
}

TEST(LptAdapter, ResetAndSckPulses) {
  adapter_on_fake a(kaldo, 1.5f, 1.0f);  // L 2, H 1
  a.adapter->set_reset(true);
  a.log->events.clear();
  a.adapter->reset_pulse();
  EXPECT_EQ(a.log->data_writes(), (bytes{0x10, 0x10, 0x00, 0x00}));
  a.log->events.clear();
  a.adapter->sck_pulse();
  EXPECT_EQ(a.log->data_writes(), (bytes{0x00, 0x00, 0x40, 0x00}));
}

TEST(LptAdapter, SignalsDriveDataAndControlRegisters) {
  adapter_on_fake a("m:mosi=D0:sck=D1:reset=D2:miso=ONLINE:enable=STROBE,~INIT:power=D4,D5:led_ok=D7:key=BUSY",
                    0.5f, 0.5f);
  a.fake->control_reg = 0xF0;
  a.log->events.clear();
  a.adapter->enable_on();  // clears STROBE and INIT bits; data written first
  EXPECT_EQ(a.log->events, (std::vector<port_event>{{lpt_data, 0x04, false}, {lpt_control, 0xF0, false}}));
  a.fake->control_reg = 0xF8;
  a.log->events.clear();
  a.adapter->enable_off();
  EXPECT_EQ(a.log->events, (std::vector<port_event>{{lpt_data, 0x04, false}, {lpt_control, 0xFD, false}}));
  a.adapter->power_on();
  EXPECT_EQ(a.fake->data_reg, 0x34);
  a.adapter->set_led_ok(true);
  EXPECT_EQ(a.fake->data_reg, 0xB4);
  // During a byte the LED is off, afterwards the shadow restores it.
  a.log->events.clear();
  a.adapter->write(0x00);
  const bytes writes = a.log->data_writes();
  EXPECT_EQ(writes.front() & 0x80, 0);
  EXPECT_EQ(writes.back(), 0xB4);
  EXPECT_TRUE(a.adapter->has_key());
  a.fake->loop_back = [](uint8_t, uint8_t) -> uint8_t { return 0x00; };  // BUSY line high
  EXPECT_TRUE(a.adapter->key_pressed());
  a.fake->loop_back = [](uint8_t, uint8_t) -> uint8_t { return 0x80; };
  EXPECT_FALSE(a.adapter->key_pressed());
}

TEST(LptAdapter, DestructionSwitchesEnableThenPowerOff) {
  {
    adapter_on_fake a("m:mosi=D0:sck=D1:reset=D2:miso=ONLINE:set=D4:enable=~D3:power=D6", 0.5f, 0.5f);
    EXPECT_EQ(a.fake->data_reg & 0x10, 0x10);  // set asserted at construction
    a.adapter->power_on();
    a.adapter->enable_on();
    EXPECT_EQ(a.fake->data_reg & 0x48, 0x40);
    a.log->events.clear();
    auto log = a.log;
    a.adapter.reset();
    EXPECT_TRUE(log->destroyed);
    ASSERT_EQ(log->events.size(), 4u);
    EXPECT_EQ(log->events[0].value & 0x48, 0x48);  // enable off (D3 high), power still on
    EXPECT_EQ(log->events[2].value & 0x48, 0x08);  // then power off
  }
  {
    adapter_on_fake a(kaldo, 0.5f, 0.5f);
    a.log->events.clear();
    auto log = a.log;
    a.adapter.reset();
    EXPECT_TRUE(log->destroyed);
    EXPECT_TRUE(log->events.empty());
  }
}

// Clock generation: 1 and 1 periods give 4-byte bits B, B^X, B^S, B^S^X.
TEST(LptClock, XtalFoldedIntoOddPositions) {
  for (const char* xtal : {"D3", "~D3"}) {
    const std::string entries = std::string("m:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=") + xtal;
    auto port = std::make_unique<fake_lpt_port>(1.0f, 0x00);
    message_capture capture(3);
    lpt_adapter a(std::move(port), map_of(entries.c_str()), 1, 1);
    EXPECT_EQ(capture.text(), "\t% 0.50MHz XTAL will be generated\n");
    EXPECT_TRUE(a.xtal_enabled);
    EXPECT_EQ(a.zero_bit, (bytes{0x00, 0x08, 0x40, 0x48})) << xtal;
    EXPECT_EQ(a.one_bit, (bytes{0x20, 0x28, 0x60, 0x68})) << xtal;
    EXPECT_EQ(a.reset_pulse_bytes, (bytes{0x10, 0x18, 0x10, 0x08})) << xtal;
  }
  auto port = std::make_unique<fake_lpt_port>(1.0f, 0x00);
  lpt_adapter a(std::move(port), map_of(kaldo), 2, 2);
  EXPECT_EQ(a.bit_length, 8u);
  EXPECT_NEAR(a.sck_frequency(), 1.0 / 9, 1e-9);
}

TEST(LptClock, DelayKeepsClocking) {
  auto port = std::make_unique<fake_lpt_port>(1.0f, 0x00);
  auto log = port->log;
  fake_lpt_port* fake = port.get();
  lpt_adapter a(std::move(port), map_of(kaldo), 1, 1);
  fake->data_reg = 0x01;
  log->events.clear();
  a.delay(0);
  EXPECT_TRUE(log->events.empty());
  a.delay(0.5f);
  // 0.5 ms at 1 us per port access: a read, then 4-write clock periods until it has passed.
  const bytes writes = log->data_writes();
  ASSERT_EQ(writes.size(), 500u);
  for (size_t i = 0; i < writes.size(); i += 4)
    EXPECT_EQ(bytes(writes.begin() + i, writes.begin() + i + 4), (bytes{0x09, 0x09, 0x01, 0x01}));
}

TEST(LptPort, FastPortIsLimitedWithBothWarnings) {
  fake_lpt_port port(0.0f, 0x5A, 0x1F);
  port.fixed_burst_us = 300;
  message_capture capture(1);
  port.direction_control = true;
  port.measure_cycle_time();
  EXPECT_EQ(port.cycle_time, 0.2f);
  EXPECT_FALSE(port.direction_control);
  const std::string text = capture.text();
  EXPECT_EQ(text.rfind("Warning: incredibly fast LPT found, min write cycle time ", 0), 0u) << text;
  EXPECT_NE(text.find("\nCycle time forced to 0.20us\n"), std::string::npos) << text;
  // Interrupts off; the bursts repeat the data register's value.
  ASSERT_FALSE(port.log->events.empty());
  EXPECT_EQ(port.log->events[0], (port_event{lpt_control, 0x0F, false}));
  size_t burst_bytes = 0;
  for (const port_event& e : port.log->events)
    if (e.burst) {
      EXPECT_EQ(e.value, 0x5A);
      ++burst_bytes;
    }
  EXPECT_EQ(burst_bytes, 100u * 100 + 100u * 4);
}

TEST(LptPort, BaseAddresses) {
  EXPECT_EQ(lpt_base_address(1), 0x378u);
  EXPECT_EQ(lpt_base_address(2), 0x278u);
  EXPECT_EQ(lpt_base_address(3), 0x3BCu);
  EXPECT_EQ(lpt_base_address(0), 0u);
}

}  // namespace

// The bit-banging adapter's port writes, on a fake port at 1 us per access.
#include "lpt/lpt_adapter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lpt/lpt_pin_table.h"
#include "tests/support/fake_lpt_port.h"
#include "tests/support/message_capture.h"

namespace {

using bytes = std::vector<uint8_t>;

const char* const kaldo = "m:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=D3";

struct adapter_on_fake {
  // Setup and hold in microseconds, or with `clocks` the XTAL-generating adapter with that many periods.
  adapter_on_fake(const char* entries, float setup, float hold, float cycle = 1.0f, uint8_t data = 0, bool clocks = false) {
    auto map = std::make_unique<pin_map>();
    load_pin_map(*map, entries, lpt_pin_table);
    std::swap(map->signals[signal_reset].active_bits, map->signals[signal_reset].inactive_bits);  // as the factory
    auto port = std::make_unique<fake_lpt_port>(cycle, data);
    fake = port.get();
    log = port->log;
    if (clocks)
      adapter = std::make_unique<lpt_adapter>(std::move(port), std::move(map), int(setup), int(hold));
    else
      adapter = std::make_unique<lpt_adapter>(std::move(port), std::move(map), setup, hold);
    log->events.clear();
  }
  fake_lpt_port* fake;
  std::shared_ptr<port_log> log;
  std::unique_ptr<lpt_adapter> adapter;
};

// Data lines D0..D3 high at start, 3 writes per phase: reset held (D4 low), MOSI D5, SCK D6.
TEST(LptAdapter, PatternsAndPhases) {
  adapter_on_fake a(kaldo, 2.625f, 2.625f, 1.0f, 0x0F);
  EXPECT_EQ(a.adapter->zero_bit, (bytes{0x0F, 0x0F, 0x0F, 0x4F, 0x4F, 0x4F}));
  EXPECT_EQ(a.adapter->one_bit, (bytes{0x2F, 0x2F, 0x2F, 0x6F, 0x6F, 0x6F}));
  EXPECT_EQ(a.adapter->reset_pulse_bytes, (bytes{0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x0F}));
  EXPECT_EQ(a.adapter->data_shadow & 0xFF, 0x1Fu);  // reset released after construction
  const struct {
    float setup, hold, cycle;
    uint32_t bit_length;
    double mhz;
  } cases[] = {{0.0f, 0.0f, 1.0f, 2, 1.0 / 3}, {1.0f, 1.01f, 1.0f, 3, 0.25}, {2.625f, 0.2f, 0.2f, 15, 1.0 / 3.2}};
  for (const auto& c : cases) {
    adapter_on_fake p(kaldo, c.setup, c.hold, c.cycle);
    EXPECT_EQ(p.adapter->bit_length, c.bit_length) << c.setup << "/" << c.hold;
    EXPECT_NEAR(p.adapter->sck_frequency(), c.mhz, 1e-6);
  }
}

TEST(LptAdapter, TransferSendsMsbFirstAndSamplesMiso) {
  adapter_on_fake a(kaldo, 0.5f, 0.5f);
  a.adapter->set_reset(true);
  a.log->events.clear();
  for (int bit : {1, 0, 0, 1, 1, 0, 1, 0}) a.fake->status_queue.push_back(bit ? 0x40 : 0x00);  // ACK high
  EXPECT_EQ(a.adapter->transfer(0xA5), 0x9A);
  EXPECT_EQ(a.log->data_writes(), (bytes{0x20, 0x60, 0x00, 0x40, 0x20, 0x60, 0x00, 0x40, 0x00, 0x40, 0x20, 0x60,
                                         0x00, 0x40, 0x20, 0x60, 0x00}));  // then the shadow
  a.log->events.clear();
  a.adapter->write(0x80);
  EXPECT_EQ(a.log->data_writes(), (bytes{0x20, 0x60, 0x00, 0x40, 0x00, 0x40, 0x00, 0x40, 0x00, 0x40, 0x00, 0x40,
                                         0x00, 0x40, 0x00, 0x40, 0x00}));
  a.log->events.clear();
  a.adapter->reset_pulse();
  a.adapter->sck_pulse();
  EXPECT_EQ(a.log->data_writes(), (bytes{0x10, 0x00, 0x00, 0x00, 0x40, 0x00}));
}

TEST(LptAdapter, MisoPolarityFollowsThePinMap) {
  const struct {
    const char* miso;
    uint8_t status;  // register value on every bit
    uint8_t expected;
  } cases[] = {
      {"ACK", 0x40, 0xFF}, {"~ACK", 0x40, 0x00},  // plain line, user inversion
      {"BUSY", 0x80, 0x00}, {"BUSY", 0x00, 0xFF},  // register bit is the inverted line
  };
  for (const auto& c : cases) {
    const std::string entries = std::string("m:mosi=D5:sck=D6:reset=D4:miso=") + c.miso;
    adapter_on_fake a(entries.c_str(), 0.5f, 0.5f);
    a.fake->loop_back = [&](uint8_t, uint8_t) { return c.status; };
    EXPECT_EQ(a.adapter->read(), c.expected) << c.miso;
    EXPECT_EQ(a.adapter->transfer(0x55), c.expected) << c.miso;
  }
}

TEST(LptAdapter, SignalsAndRelease) {
  adapter_on_fake a("m:mosi=D0:sck=D1:reset=D2:miso=ONLINE:enable=STROBE,~INIT:power=D4,D5:led_ok=D7:key=BUSY",
                    0.5f, 0.5f);
  a.fake->control_reg = 0xF0;
  a.adapter->enable_on();  // clears STROBE and INIT bits; data written first
  EXPECT_EQ(a.log->events, (std::vector<port_event>{{lpt_data, 0x04, false}, {lpt_control, 0xF0, false}}));
  a.fake->control_reg = 0xF8;
  a.log->events.clear();
  a.adapter->enable_off();
  EXPECT_EQ(a.log->events, (std::vector<port_event>{{lpt_data, 0x04, false}, {lpt_control, 0xFD, false}}));
  a.adapter->power_on();
  a.adapter->set_led_ok(true);
  EXPECT_EQ(a.fake->data_reg, 0xB4);
  a.log->events.clear();
  a.adapter->write(0x00);  // the LED is off during a byte, the shadow restores it
  EXPECT_EQ(a.log->data_writes().front() & 0x80, 0);
  EXPECT_EQ(a.log->data_writes().back(), 0xB4);
  a.fake->loop_back = [](uint8_t, uint8_t) -> uint8_t { return 0x00; };  // BUSY line high
  EXPECT_TRUE(a.adapter->key_pressed());
  a.fake->loop_back = [](uint8_t, uint8_t) -> uint8_t { return 0x80; };
  EXPECT_FALSE(a.adapter->key_pressed());

  adapter_on_fake b("m:mosi=D0:sck=D1:reset=D2:miso=ONLINE:set=D4:enable=~D3:power=D6", 0.5f, 0.5f);
  EXPECT_EQ(b.fake->data_reg & 0x10, 0x10);  // set asserted at construction
  b.adapter->power_on();
  b.adapter->enable_on();
  b.log->events.clear();
  auto log = b.log;
  b.adapter.reset();  // enable off (D3 high) with power still on, then power off
  EXPECT_TRUE(log->destroyed);
  ASSERT_EQ(log->events.size(), 4u);
  EXPECT_EQ(log->events[0].value & 0x48, 0x48);
  EXPECT_EQ(log->events[2].value & 0x48, 0x08);
  adapter_on_fake c(kaldo, 0.5f, 0.5f);
  log = c.log;
  c.adapter.reset();  // nothing to switch off
  EXPECT_TRUE(log->destroyed);
  EXPECT_TRUE(log->events.empty());
}

// Generated clock, 1 and 1 periods: 4-byte bits B, B^X, B^S, B^S^X; delays keep clocking.
TEST(LptClock, XtalFoldedIntoOddPositions) {
  for (const char* xtal : {"D3", "~D3"}) {
    message_capture capture(3);
    adapter_on_fake a((std::string("m:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=") + xtal).c_str(), 1, 1, 1.0f, 0, true);
    EXPECT_EQ(capture.text(), "\t% 0.50MHz XTAL will be generated\n");
    EXPECT_EQ(a.adapter->zero_bit, (bytes{0x00, 0x08, 0x40, 0x48})) << xtal;
    EXPECT_EQ(a.adapter->one_bit, (bytes{0x20, 0x28, 0x60, 0x68})) << xtal;
    EXPECT_EQ(a.adapter->reset_pulse_bytes, (bytes{0x10, 0x18, 0x10, 0x08})) << xtal;
  }
  adapter_on_fake a(kaldo, 2, 2, 1.0f, 0, true);
  EXPECT_EQ(a.adapter->bit_length, 8u);
  a.fake->data_reg = 0x01;
  a.adapter->delay(0);
  EXPECT_TRUE(a.log->events.empty());
  a.adapter->delay(0.5f);  // a read, then 4-write periods until 0.5 ms have passed
  const bytes writes = a.log->data_writes();
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
  ASSERT_FALSE(port.log->events.empty());
  EXPECT_EQ(port.log->events[0], (port_event{lpt_control, 0x0F, false}));  // interrupts off
  size_t burst_bytes = 0;
  for (const port_event& e : port.log->events) {
    if (!e.burst) continue;
    EXPECT_EQ(e.value, 0x5A);  // the bursts repeat the data register's value
    ++burst_bytes;
  }
  EXPECT_EQ(burst_bytes, 100u * 100 + 100u * 4);
}

}  // namespace

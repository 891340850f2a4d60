// The bit-banging adapter's port patterns and phase lengths, on a fake port (the wirings run end to end).
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

// Setup and hold in microseconds, or with `clocks` the XTAL-generating adapter with that many periods.
std::unique_ptr<lpt_adapter> adapter_on(fake_lpt_port*& fake, const char* entries, float setup, float hold,
                                        float cycle = 1.0f, uint8_t data = 0, bool clocks = false) {
  auto map = std::make_unique<pin_map>();
  load_pin_map(*map, entries, lpt_pin_table);
  std::swap(map->signals[signal_reset].active_bits, map->signals[signal_reset].inactive_bits);  // as the factory
  auto port = std::make_unique<fake_lpt_port>(cycle, data);
  fake = port.get();
  auto adapter = clocks ? std::make_unique<lpt_adapter>(std::move(port), std::move(map), int(setup), int(hold))
                        : std::make_unique<lpt_adapter>(std::move(port), std::move(map), setup, hold);
  fake->events.clear();
  return adapter;
}

// D0..D3 high at start, 3 writes per phase: reset held (D4 low), MOSI D5, SCK D6; the pulses end on the shadow.
TEST(LptAdapter, PatternsPhasesAndPulses) {
  fake_lpt_port* fake;
  auto a = adapter_on(fake, kaldo, 2.625f, 2.625f, 1.0f, 0x0F);
  EXPECT_EQ(a->zero_bit, (bytes{0x0F, 0x0F, 0x0F, 0x4F, 0x4F, 0x4F}));
  EXPECT_EQ(a->one_bit, (bytes{0x2F, 0x2F, 0x2F, 0x6F, 0x6F, 0x6F}));
  EXPECT_EQ(a->reset_pulse_bytes, (bytes{0x1F, 0x1F, 0x1F, 0x1F, 0x1F, 0x0F}));
  EXPECT_EQ(a->data_shadow & 0xFF, 0x1Fu);  // reset released after construction
  a->sck_pulse();
  EXPECT_EQ(fake->data_writes(), (bytes{0x0F, 0x0F, 0x0F, 0x4F, 0x4F, 0x4F, 0x1F}));
  const struct {
    float setup, hold, cycle;
    uint32_t bit_length;
    double mhz;
  } cases[] = {{0.0f, 0.0f, 1.0f, 2, 1.0 / 3}, {1.0f, 1.01f, 1.0f, 3, 0.25}, {2.625f, 0.2f, 0.2f, 15, 1.0 / 3.2}};
  for (const auto& c : cases) {
    auto p = adapter_on(fake, kaldo, c.setup, c.hold, c.cycle);
    EXPECT_EQ(p->bit_length, c.bit_length) << c.setup << "/" << c.hold;
    EXPECT_NEAR(p->sck_frequency(), c.mhz, 1e-6);
  }
}

// Generated clock, 1 and 1 periods: 4-byte bits B, B^X, B^S, B^S^X; delays keep clocking.
TEST(LptClock, XtalFoldedIntoOddPositions) {
  fake_lpt_port* fake;
  for (const char* xtal : {"D3", "~D3"}) {
    message_capture capture(3);
    auto a = adapter_on(fake, (std::string("m:mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=") + xtal).c_str(), 1, 1, 1.0f,
                        0, true);
    EXPECT_EQ(capture.text(), "\t% 0.50MHz XTAL will be generated\n");
    EXPECT_EQ(a->zero_bit, (bytes{0x00, 0x08, 0x40, 0x48})) << xtal;
    EXPECT_EQ(a->one_bit, (bytes{0x20, 0x28, 0x60, 0x68})) << xtal;
    EXPECT_EQ(a->reset_pulse_bytes, (bytes{0x10, 0x18, 0x10, 0x08})) << xtal;
  }
  auto a = adapter_on(fake, kaldo, 2, 2, 1.0f, 0, true);
  EXPECT_EQ(a->bit_length, 8u);
  fake->data_reg = 0x01;
  a->delay(0);
  EXPECT_TRUE(fake->events.empty());
  a->delay(0.5f);  // a read, then 4-write periods until 0.5 ms have passed
  const bytes writes = fake->data_writes();
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
  ASSERT_FALSE(port.events.empty());
  EXPECT_EQ(port.events[0], (port_event{lpt_control, 0x0F, false}));  // interrupts off
  size_t burst_bytes = 0;
  for (const port_event& e : port.events) {
    if (!e.burst) continue;
    EXPECT_EQ(e.value, 0x5A);  // the bursts repeat the data register's value
    ++burst_bytes;
  }
  EXPECT_EQ(burst_bytes, 100u * 100 + 100u * 4);
}

}  // namespace

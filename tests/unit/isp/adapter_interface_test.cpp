// The adapter interface's default operations all come down to transfer(), in order.
#include <gtest/gtest.h>

#include <vector>

#include "adapter/spi_adapter.h"

namespace {

struct transfer_only : spi_adapter {  // only the pure operations
  std::vector<uint8_t> sent;
  uint8_t transfer(uint8_t out) override {
    sent.push_back(out);
    return uint8_t(out ^ 0xFF);
  }
  bool block_mode() override { return false; }
  void set_reset(bool) override {}
  void reset_pulse() override {}
  void sck_pulse() override {}
  void delay(float) override {}
  bool has_power() override { return false; }
  void power_on() override {}
  void power_off() override {}
  bool has_enable() override { return false; }
  void enable_on() override {}
  void enable_off() override {}
  void set_led_ok(bool) override {}
  void set_led_error(bool) override {}
  bool has_key() override { return false; }
  bool key_pressed() override { return false; }
  double sck_frequency() override { return 1; }
  const char* name() override { return "transfer only"; }
};

TEST(AdapterInterface, DefaultsGoThroughTransferInOrder) {
  transfer_only a;
  a.write(0x12);
  EXPECT_EQ(a.read(), 0xFF);  // 0x00 sent
  const uint8_t out[3] = {1, 2, 3};
  uint8_t in[3] = {};
  a.transfer_block(out, in, 3);
  EXPECT_EQ(std::vector<uint8_t>(in, in + 3), (std::vector<uint8_t>{0xFE, 0xFD, 0xFC}));
  a.write_block(out, 2);
  a.read_block(in, 2);
  EXPECT_EQ(in[1], 0xFF);
  EXPECT_EQ(a.sent, (std::vector<uint8_t>{0x12, 0x00, 1, 2, 3, 1, 2, 0x00, 0x00}));
}

}  // namespace

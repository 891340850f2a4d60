// The adapter interface's default operations and the one owning holder.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "adapter/spi_adapter.h"

namespace {

// Only the pure operations; every default must come down to transfer().
struct transfer_only : spi_adapter {
  std::vector<uint8_t> sent;
  int* destroyed = nullptr;
  ~transfer_only() override {
    if (destroyed) ++*destroyed;
  }
  bool block_mode() override { return false; }
  uint8_t transfer(uint8_t out) override {
    sent.push_back(out);
    return uint8_t(out ^ 0xFF);
  }
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
  EXPECT_EQ(in[0], 0xFE);
  EXPECT_EQ(in[2], 0xFC);
  uint8_t same[2] = {0x0F, 0xF0};
  a.transfer_block(same, same, 2);  // one buffer both ways
  EXPECT_EQ(same[0], 0xF0);
  EXPECT_EQ(same[1], 0x0F);
  a.write_block(out, 2);
  a.read_block(in, 1);
  a.transfer_block(out, in, 0);
  a.write_block(out, 0);
  a.read_block(in, 0);
  EXPECT_EQ(a.sent, (std::vector<uint8_t>{0x12, 0x00, 1, 2, 3, 0x0F, 0xF0, 1, 2, 0x00}));
}

TEST(AdapterInterface, HolderDestroysTheOldAdapterOnlyWhenReplaced) {
  int first_gone = 0, second_gone = 0;
  auto first = std::make_unique<transfer_only>();
  first->destroyed = &first_gone;
  current_adapter.replace(std::move(first));
  auto second = std::make_unique<transfer_only>();
  second->destroyed = &second_gone;
  EXPECT_EQ(first_gone, 0);
  current_adapter.replace(std::move(second));
  EXPECT_EQ(first_gone, 1);
  EXPECT_EQ(second_gone, 0);
  EXPECT_STREQ(current_adapter->name(), "transfer only");
  current_adapter.reset();
  EXPECT_EQ(second_gone, 1);
  EXPECT_FALSE(current_adapter);
}

}  // namespace

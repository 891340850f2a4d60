// The MPSSE adapter's pin map and the command bytes each operation sends,
// captured by a recording ftdi_device.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ftdi/ft2232_adapter.h"
#include "ftdi/ft2232_pin_map.h"
#include "ftdi_test_support.h"

namespace {

typedef recording_device::call call;

TEST(ft2232_pin_map, type_and_default_pins_from_the_adapter_name) {
  const struct {
    const char* text;
    uint32_t type;
  } cases[] = {{"ft2232", 4}, {"FT2232H", 6}, {"ft4232h", 7}, {"ft2232x", 4}, {"ft2232:key=acbus3", 4}};
  for (const auto& c : cases) {
    uint32_t type = 0;
    auto map = ft2232_pin_map(c.text, type);
    EXPECT_EQ(type, c.type) << c.text;
    EXPECT_STREQ(map->name, "FT2232 MPSSE");
    EXPECT_EQ(map->signals[signal_mosi].active_bits, 0x02u);
    EXPECT_EQ(map->signals[signal_miso].active_bits, 0x04u);
    EXPECT_EQ(map->signals[signal_sck].active_bits, 0x01u);
    EXPECT_EQ(map->signals[signal_reset].active_bits, 0u);  // swapped: asserting pulls bit 3 low
    EXPECT_EQ(map->signals[signal_reset].inactive_bits, 0x08u);
  }
}

TEST(ft2232_pin_map, user_pins) {
  uint32_t type = 0;
  auto map = ft2232_pin_map("ft2232h:name=My board:reset=cbus2:mosi=~dbus1:key=~cbus4:power=dbus4,dbus5", type);
  EXPECT_STREQ(map->name, "My board");
  EXPECT_EQ(map->signals[signal_reset].active_bits, 0u);
  EXPECT_EQ(map->signals[signal_reset].inactive_bits, 0x0400u);
  EXPECT_EQ(map->signals[signal_mosi].inactive_bits, 0x02u);
  EXPECT_EQ(map->signals[signal_key].inactive_bits, 0x1000u);
  EXPECT_EQ(map->signals[signal_power].active_bits, 0x30u);

  const struct {
    const char* text;
    const char* message;
  } refused[] = {
      {"ft2232h:sck=dbus3", "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"},
      {"ft2232h:miso=cbus2", "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"},
      {"ft4232h:key=cbus4", "adapter: invalid pin name 'cbus4'\n"},  // an FT4232H channel has no high byte
      {"ft2232:key=acbus4", "adapter: invalid pin name 'acbus4'\n"},
      {"ft2232:key=dbus4", "adapter: invalid pin name 'dbus4'\n"},
  };
  for (const auto& c : refused) {
    captured_output out;
    EXPECT_EQ(status_of([&] { ft2232_pin_map(c.text, type); }), 70) << c.text;
    EXPECT_EQ(out.text(), c.message) << c.text;
  }
}

class ft2232_adapter_test : public ::testing::Test {
 protected:
  // Builds the adapter on a recording device; the log then starts after construction.
  void make(const char* adapter_text, uint32_t requested_hz = 190000, bool outputs_off_after = false) {
    uint32_t type = 0;
    auto map = ft2232_pin_map(adapter_text, type);
    auto device = std::make_unique<recording_device>(&log);
    device_seen = device.get();
    adapter = std::make_unique<ft2232_adapter>(std::move(device), std::move(map), type, requested_hz,
                                               outputs_off_after);
    construction = log;
    log.clear();
  }
  std::vector<call> take() {
    std::vector<call> taken = log;
    log.clear();
    return taken;
  }

  std::vector<call> log;
  std::vector<call> construction;
  recording_device* device_seen = nullptr;
  std::unique_ptr<ft2232_adapter> adapter;
};

void expect_calls(const std::vector<call>& got, const std::vector<call>& want, const char* what) {
  ASSERT_EQ(got.size(), want.size()) << what;
  for (size_t i = 0; i < want.size(); ++i) {
    EXPECT_EQ(got[i].what, want[i].what) << what << " #" << i;
    EXPECT_EQ(got[i].data, want[i].data) << what << " #" << i;
  }
}

TEST_F(ft2232_adapter_test, construction_sequence_per_chip) {
  make("ft2232h");
  expect_calls(construction,
               {{"set_bit_mode", {0x00, 0x02}},
                {"set_timeouts", {5, 5}},
                {"write", {0x8B, 0x86, 31, 0, 0x87}},
                {"purge", {0x01}},
                {"write", {0x80, 0x08, 0x0B, 0x82, 0x00, 0x00}}},
               "ft2232h");
  EXPECT_DOUBLE_EQ(adapter->sck_frequency(), 0.1875);
  EXPECT_STREQ(adapter->name(), "FT2232 MPSSE");
  EXPECT_TRUE(adapter->block_mode());

  make("ft2232h", 1000000);
  EXPECT_EQ(construction[2].data, (bytes{0x8A, 0x86, 29, 0, 0x87}));
  EXPECT_DOUBLE_EQ(adapter->sck_frequency(), 1.0);

  make("ft2232", 190000);
  EXPECT_EQ(construction[2].data, (bytes{0x86, 31, 0, 0x87}));

  make("ft2232", 92);
  EXPECT_EQ(construction[2].data, (bytes{0x86, 0xC1, 0xFE, 0x87}));  // divisor 65217

  make("ft4232h", 190000);
  EXPECT_EQ(construction[2].data, (bytes{0x8B, 0x86, 31, 0, 0x87}));
}

TEST_F(ft2232_adapter_test, outputs_start_inactive) {
  make("ft2232h:power=dbus4,~dbus5:led_ok=cbus0:led_error=~cbus1:enable=~dbus7:set=cbus3:key=cbus4:reset=dbus6");
  // reset (swapped) high, power off (dbus4 low, dbus5 high), enable off (dbus7 high),
  // LED ok low, LED error high; key and MISO inputs.
  EXPECT_EQ(construction.back().data, (bytes{0x80, 0xE0, 0xF3, 0x82, 0x02, 0x0B}));
}

TEST_F(ft2232_adapter_test, signal_operations_write_both_pin_bytes) {
  make("ft2232h:power=dbus4:enable=~dbus5:led_ok=cbus0:led_error=cbus1");
  EXPECT_TRUE(adapter->has_power());
  EXPECT_TRUE(adapter->has_enable());
  EXPECT_FALSE(adapter->has_key());
  adapter->set_reset(true);
  adapter->power_on();
  adapter->enable_on();
  adapter->set_led_ok(true);
  adapter->set_led_error(true);
  adapter->set_led_error(false);
  adapter->enable_off();
  adapter->power_off();
  adapter->set_reset(false);
  expect_calls(take(),
               {{"write", {0x80, 0x20, 0x3B, 0x82, 0x00, 0x03}},
                {"write", {0x80, 0x30, 0x3B, 0x82, 0x00, 0x03}},
                {"write", {0x80, 0x10, 0x3B, 0x82, 0x00, 0x03}},
                {"write", {0x80, 0x10, 0x3B, 0x82, 0x01, 0x03}},
                {"write", {0x80, 0x10, 0x3B, 0x82, 0x03, 0x03}},
                {"write", {0x80, 0x10, 0x3B, 0x82, 0x01, 0x03}},
                {"write", {0x80, 0x30, 0x3B, 0x82, 0x01, 0x03}},
                {"write", {0x80, 0x20, 0x3B, 0x82, 0x01, 0x03}},
                {"write", {0x80, 0x28, 0x3B, 0x82, 0x01, 0x03}}},
               "signals");

  make("ft2232h");  // nothing but the SPI pins and reset
  EXPECT_FALSE(adapter->has_power());
  EXPECT_FALSE(adapter->has_enable());
  adapter->set_reset(true);
  adapter->power_on();
  adapter->set_led_ok(true);
  expect_calls(take(),
               {{"write", {0x80, 0x00, 0x0B, 0x82, 0x00, 0x00}},
                {"write", {0x80, 0x00, 0x0B, 0x82, 0x00, 0x00}},
                {"write", {0x80, 0x00, 0x0B, 0x82, 0x00, 0x00}}},
               "undefined signals");
}

TEST_F(ft2232_adapter_test, data_shifting_commands) {
  make("ft2232h");
  device_seen->answers = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
  const uint8_t out[3] = {0xAC, 0x53, 0x00};
  uint8_t in[3] = {};
  adapter->transfer_block(out, in, 3);
  EXPECT_EQ(bytes(in, in + 3), (bytes{0x11, 0x22, 0x33}));
  adapter->write_block(out, 2);
  adapter->read_block(in, 2);
  EXPECT_EQ(adapter->transfer(0x30), 0x66);
  adapter->write(0x20);
  EXPECT_EQ(adapter->read(), 0x77);
  adapter->sck_pulse();
  adapter->transfer_block(out, in, 0);
  adapter->write_block(out, 0);
  adapter->read_block(in, 0);
  expect_calls(take(),
               {{"write", {0x31, 0x02, 0x00, 0xAC, 0x53, 0x00, 0x87}},
                {"read", {0x11, 0x22, 0x33}},
                {"write", {0x11, 0x01, 0x00, 0xAC, 0x53}},
                {"write", {0x21, 0x01, 0x00, 0x87}},
                {"read", {0x44, 0x55}},
                {"write", {0x31, 0x00, 0x00, 0x30, 0x87}},
                {"read", {0x66}},
                {"write", {0x11, 0x00, 0x00, 0x20}},
                {"write", {0x21, 0x00, 0x00, 0x87}},
                {"read", {0x77}},
                {"write", {0x13, 0x01, 0x00}}},
               "shifting");
}

TEST_F(ft2232_adapter_test, inverted_data_lines_and_clock) {
  make("ft2232h:mosi=~dbus1:miso=~dbus2:sck=~dbus0");
  // SCK idles high, MOSI idles high (deasserted inverted signals).
  EXPECT_EQ(construction.back().data, (bytes{0x80, 0x0B, 0x0B, 0x82, 0x00, 0x00}));
  device_seen->answers = {0x0F, 0xFF};
  const uint8_t out[2] = {0xAC, 0x00};
  uint8_t in[2] = {};
  adapter->transfer_block(out, in, 2);
  EXPECT_EQ(bytes(in, in + 2), (bytes{0xF0, 0x00}));
  adapter->sck_pulse();
  auto calls = take();
  EXPECT_EQ(calls[0].data, (bytes{0x34, 0x01, 0x00, 0x53, 0xFF, 0x87}));
  EXPECT_EQ(calls[2].data, (bytes{0x16, 0x01, 0x00}));
}

TEST_F(ft2232_adapter_test, long_blocks_are_split_at_the_command_limits) {
  make("ft2232h");
  std::vector<uint8_t> out(ft2232_adapter::transfer_block_limit + 5, 0x5A), in(out.size());
  adapter->transfer_block(out.data(), in.data(), static_cast<uint32_t>(out.size()));
  auto calls = take();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0].data.size(), 3 + 16384 + 1u);
  EXPECT_EQ(bytes(calls[0].data.begin(), calls[0].data.begin() + 3), (bytes{0x31, 0xFF, 0x3F}));
  EXPECT_EQ(calls[1].data.size(), 16384u);
  EXPECT_EQ(calls[2].data, (bytes{0x31, 0x04, 0x00, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x87}));
  adapter->write_block(out.data(), 4096);
  EXPECT_EQ(take().size(), 1u);
  adapter->write_block(out.data(), 4097);
  EXPECT_EQ(take().size(), 2u);
}

TEST_F(ft2232_adapter_test, reset_pulse_groups) {
  make("ft2232h", 190000);  // 0.1875 MHz: ceil(0.6 / 0.1875) = 4 groups
  adapter->set_reset(true);
  take();
  adapter->reset_pulse();
  expect_calls(take(),
               {{"write", {0x80, 0x08, 0x0B, 0x80, 0x08, 0x0B, 0x80, 0x08, 0x0B, 0x80, 0x08, 0x0B, 0x80, 0x00, 0x0B}}},
               "0.1875 MHz");

  make("ft2232h", 1000000);
  adapter->reset_pulse();  // reset released: the pulse drives it low once
  expect_calls(take(), {{"write", {0x80, 0x00, 0x0B, 0x80, 0x08, 0x0B}}}, "1 MHz");

  make("ft2232h:reset=cbus2:led_ok=cbus0", 190000);
  adapter->set_reset(true);
  adapter->set_led_ok(true);
  take();
  adapter->reset_pulse();
  auto calls = take();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].data.size(), 15u);
  EXPECT_EQ(bytes(calls[0].data.begin(), calls[0].data.begin() + 3), (bytes{0x82, 0x05, 0x05}));
  EXPECT_EQ(bytes(calls[0].data.end() - 3, calls[0].data.end()), (bytes{0x82, 0x01, 0x05}));

  make("ft2232", 92);  // far below 0.3 kHz: limited to 2000 groups
  adapter->reset_pulse();
  calls = take();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].data.size(), 3 * 2000 + 3u);
}

TEST_F(ft2232_adapter_test, key_reads_both_pin_bytes) {
  make("ft2232h:key=cbus4");
  EXPECT_TRUE(adapter->has_key());
  device_seen->answers = {0x00, 0x10, 0xFF, 0xEF};
  EXPECT_TRUE(adapter->key_pressed());
  EXPECT_FALSE(adapter->key_pressed());
  expect_calls(take(),
               {{"write", {0x81, 0x83}}, {"read", {0x00, 0x10}}, {"write", {0x81, 0x83}}, {"read", {0xFF, 0xEF}}},
               "key");
  make("ft2232h:key=~dbus4");
  device_seen->answers = {0x10, 0x00, 0xEF, 0xFF};
  EXPECT_FALSE(adapter->key_pressed());
  EXPECT_TRUE(adapter->key_pressed());
  device_seen->answers = {0x34, 0x12};
  EXPECT_EQ(adapter->read_pins(), 0x1234u);
}

TEST_F(ft2232_adapter_test, release_sequences) {
  make("ft2232h:power=dbus4:set=dbus5");
  adapter->set_reset(true);
  adapter->power_on();
  take();
  adapter.reset();
  expect_calls(take(), {{"write", {0x8B}}, {"set_bit_mode", {0x00, 0x00}}, {"destroyed", {}}}, "reset mode");

  make("ft2232h:power=dbus4:set=dbus5", 190000, true);
  adapter->set_reset(true);
  adapter->power_on();
  take();
  captured_output out;
  adapter.reset();
  // MOSI, SCK, RESET and SET become inputs; power keeps its level and stays an output.
  expect_calls(take(), {{"write", {0x8B}}, {"write", {0x80, 0x10, 0x10, 0x82, 0x00, 0x00}}, {"destroyed", {}}},
               "-az");
  EXPECT_EQ(out.text(), "FT2232 left in MPSSE mode with programming pins configured as inputs\n");

  make("ft2232");  // no clock divider to restore on an FT2232C/D
  adapter.reset();
  expect_calls(take(), {{"set_bit_mode", {0x00, 0x00}}, {"destroyed", {}}}, "ft2232");

  // After a failed write the release sends nothing more (and does not repeat
  // the message), even with -az, but still resets the bit mode, which needs no
  // write, so that RESET and the other lines are let go; the device is closed.
  make("ft2232h", 190000, true);
  device_seen->fail_writes = true;
  {
    captured_output failing;
    EXPECT_EQ(status_of([&] { adapter->set_reset(true); }), 70);
    take();
    adapter.reset();
    EXPECT_EQ(failing.text(), "Can't write to FTDI chip (FT_IO_ERROR)\n");
  }
  expect_calls(take(), {{"set_bit_mode", {0x00, 0x00}}, {"destroyed", {}}}, "after a failure");
}

}  // namespace

// The MPSSE adapter's pin map and the command bytes each operation sends to a recording device.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "ftdi/ft2232_adapter.h"
#include "ftdi/ft2232_pin_map.h"
#include "tests/support/fake_clock.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

typedef std::vector<std::string> calls;

// Logs every call as "what HH HH ..." (long ones as "what[N] first .. last"); reads
// are answered from `answers` (0x00 when empty).
class recording_device : public ftdi_device {
 public:
  explicit recording_device(calls* to) : log(to) {}
  ~recording_device() override { log->push_back("destroyed"); }
  void set_bit_mode(uint8_t mask, uint8_t mode) override { note("set_bit_mode", {mask, mode}); }
  void read(void* buffer, uint32_t count) override {
    auto* out = static_cast<uint8_t*>(buffer);
    for (uint32_t i = 0; i < count; ++i) {
      out[i] = answers.empty() ? 0x00 : answers.front();
      if (!answers.empty()) answers.pop_front();
    }
    note("read", std::vector<uint8_t>(out, out + count));
  }
  void write(const void* buffer, uint32_t count) override {
    auto* in = static_cast<const uint8_t*>(buffer);
    note("write", std::vector<uint8_t>(in, in + count));
    if (fail_writes) fail(status_usage, "Can't write to FTDI chip (FT_IO_ERROR)\n");
  }
  void purge(uint8_t mask) override { note("purge", {mask}); }
  void set_latency_timer(uint8_t ms) override { note("set_latency_timer", {ms}); }
  void set_baud_rate(uint32_t) override { note("set_baud_rate", {}); }
  void set_divisor(uint16_t) override { note("set_divisor", {}); }
  void set_timeouts(uint32_t r, uint32_t w) override { note("set_timeouts", {uint8_t(r / 1000), uint8_t(w / 1000)}); }
  void set_vid_pid(uint32_t, uint32_t) override { note("set_vid_pid", {}); }

  std::deque<uint8_t> answers;
  bool fail_writes = false;

 private:
  void note(const char* what, const std::vector<uint8_t>& data) {
    std::string text = what;
    const bool long_one = data.size() > 32;
    if (long_one) text += "[" + std::to_string(data.size()) + "]";
    char hex[4];
    for (size_t i = 0; i < data.size(); ++i) {
      if (long_one && i == 3) {
        text += " ..";
        i = data.size() - 3;
      }
      snprintf(hex, sizeof hex, " %02X", data[i]);
      text += hex;
    }
    log->push_back(text);
  }
  calls* log;
};

TEST(ft2232_pin_map, type_and_default_pins_from_the_adapter_name) {
  const struct {
    const char* text;
    uint32_t type;
  } cases[] = {{"ft2232", 4}, {"FT2232H", 6}, {"ft4232h", 7}, {"ft2232:key=acbus3", 4}};
  for (const auto& c : cases) {
    uint32_t type = 0;
    auto map = ft2232_pin_map(c.text, type);
    EXPECT_EQ(type, c.type) << c.text;
    EXPECT_STREQ(map->name, "FT2232 MPSSE");
    EXPECT_EQ(map->signals[signal_mosi].active_bits, 0x02u);
    EXPECT_EQ(map->signals[signal_miso].active_bits, 0x04u);
    EXPECT_EQ(map->signals[signal_sck].active_bits, 0x01u);
    EXPECT_EQ(map->signals[signal_reset].inactive_bits, 0x08u);  // asserting pulls bit 3 low
  }
  uint32_t type = 0;
  auto map = ft2232_pin_map("ft2232h:name=My board:reset=cbus2:key=~cbus4:power=dbus4,dbus5", type);
  EXPECT_STREQ(map->name, "My board");
  EXPECT_EQ(map->signals[signal_reset].inactive_bits, 0x0400u);
  EXPECT_EQ(map->signals[signal_key].inactive_bits, 0x1000u);
  EXPECT_EQ(map->signals[signal_power].active_bits, 0x30u);
}

TEST(ft2232_pin_map, refusals) {
  const struct {
    const char* text;
    const char* message;
  } refused[] = {
      {"ft2232h:sck=dbus3", "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"},
      {"ft2232h:miso=cbus2", "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"},
      {"ft4232h:key=cbus4", "adapter: invalid pin name 'cbus4'\n"},  // an FT4232H channel has no high byte
      {"ft2232:key=acbus4", "adapter: invalid pin name 'acbus4'\n"},
  };
  for (const auto& c : refused) {
    uint32_t type = 0;
    message_capture out;
    EXPECT_EQ(status_of([&] { ft2232_pin_map(c.text, type); }), 70) << c.text;
    EXPECT_EQ(out.text(), c.message) << c.text;
  }
}

class ft2232_adapter_test : public ::testing::Test {
 protected:
  // Builds the adapter on a recording device; `construction` keeps what it sent.
  void make(const char* adapter_text, uint32_t requested_hz = 190000, bool outputs_off_after = false) {
    uint32_t type = 0;
    auto map = ft2232_pin_map(adapter_text, type);
    adapter.reset();
    log.clear();
    auto device = std::make_unique<recording_device>(&log);
    device_seen = device.get();
    adapter = std::make_unique<ft2232_adapter>(std::move(device), std::move(map), type, requested_hz,
                                               outputs_off_after);
    construction = take();
  }
  calls take() {
    calls taken;
    taken.swap(log);
    return taken;
  }

  calls log, construction;
  recording_device* device_seen = nullptr;
  std::unique_ptr<ft2232_adapter> adapter;
};

TEST_F(ft2232_adapter_test, construction_sets_mode_clock_and_idle_pins) {
  make("ft2232h");
  EXPECT_EQ(construction, (calls{"set_bit_mode 00 02", "set_timeouts 05 05", "write 8B 86 1F 00 87", "purge 01",
                                 "write 80 08 0B 82 00 00"}));
  EXPECT_DOUBLE_EQ(adapter->sck_frequency(), 0.1875);
  EXPECT_TRUE(adapter->block_mode());
  const struct {
    const char* text;
    uint32_t hz;
    const char* clock;
  } clocks[] = {{"ft2232h", 1000000, "write 8A 86 1D 00 87"},  // 30 MHz base
                {"ft2232", 190000, "write 86 1F 00 87"},       // no base command on an FT2232C/D
                {"ft2232", 92, "write 86 C1 FE 87"},           // divisor 65217
                {"ft4232h", 190000, "write 8B 86 1F 00 87"}};
  for (const auto& c : clocks) {
    make(c.text, c.hz);
    EXPECT_EQ(construction[2], c.clock) << c.text << " " << c.hz;
  }
  // Reset (swapped) high, power off (dbus4 low, dbus5 high), enable off (dbus7 high),
  // LED ok low, LED error high; key and MISO inputs.
  make("ft2232h:power=dbus4,~dbus5:led_ok=cbus0:led_error=~cbus1:enable=~dbus7:set=cbus3:key=cbus4:reset=dbus6");
  EXPECT_EQ(construction.back(), "write 80 E0 F3 82 02 0B");
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
  EXPECT_EQ(take(), (calls{"write 80 20 3B 82 00 03", "write 80 30 3B 82 00 03", "write 80 10 3B 82 00 03",
                           "write 80 10 3B 82 01 03", "write 80 10 3B 82 03 03", "write 80 10 3B 82 01 03",
                           "write 80 30 3B 82 01 03", "write 80 20 3B 82 01 03", "write 80 28 3B 82 01 03"}));
  make("ft2232h");  // nothing but the SPI pins and reset
  EXPECT_FALSE(adapter->has_power());
  EXPECT_FALSE(adapter->has_enable());
  adapter->power_on();
  adapter->set_led_ok(true);
  EXPECT_EQ(take(), (calls{"write 80 08 0B 82 00 00", "write 80 08 0B 82 00 00"}));
}

TEST_F(ft2232_adapter_test, data_shifting_commands) {
  make("ft2232h");
  device_seen->answers = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
  const uint8_t out[3] = {0xAC, 0x53, 0x00};
  uint8_t in[3] = {};
  adapter->transfer_block(out, in, 3);
  EXPECT_EQ(in[2], 0x33);
  adapter->write_block(out, 2);
  adapter->read_block(in, 2);
  EXPECT_EQ(adapter->transfer(0x30), 0x66);
  adapter->write(0x20);
  EXPECT_EQ(adapter->read(), 0x77);
  adapter->sck_pulse();
  adapter->transfer_block(out, in, 0);
  EXPECT_EQ(take(), (calls{"write 31 02 00 AC 53 00 87", "read 11 22 33", "write 11 01 00 AC 53",
                           "write 21 01 00 87", "read 44 55", "write 31 00 00 30 87", "read 66", "write 11 00 00 20",
                           "write 21 00 00 87", "read 77", "write 13 01 00"}));
  // Inverted lines: SCK and MOSI idle high, the data and the clock edges flip.
  make("ft2232h:mosi=~dbus1:miso=~dbus2:sck=~dbus0");
  EXPECT_EQ(construction.back(), "write 80 0B 0B 82 00 00");
  device_seen->answers = {0x0F, 0xFF};
  adapter->transfer_block(out, in, 2);
  EXPECT_EQ(in[0], 0xF0);
  EXPECT_EQ(in[1], 0x00);
  adapter->sck_pulse();
  EXPECT_EQ(take(), (calls{"write 34 01 00 53 AC 87", "read 0F FF", "write 16 01 00"}));
}

TEST_F(ft2232_adapter_test, long_blocks_are_split_at_the_command_limits) {
  make("ft2232h");
  std::vector<uint8_t> out(16384 + 5, 0x5A), in(65537);
  adapter->transfer_block(out.data(), in.data(), static_cast<uint32_t>(out.size()));
  EXPECT_EQ(take(), (calls{"write[16388] 31 FF 3F .. 5A 5A 87", "read[16384] 00 00 00 .. 00 00 00",
                           "write 31 04 00 5A 5A 5A 5A 5A 87", "read 00 00 00 00 00"}));
  adapter->write_block(out.data(), 4097);
  EXPECT_EQ(take(), (calls{"write[4099] 11 FF 0F .. 5A 5A 5A", "write 11 00 00 5A"}));
  adapter->read_block(in.data(), 65537);
  EXPECT_EQ(take().front(), "write 21 FF FF 87");
}

TEST_F(ft2232_adapter_test, reset_pulse_groups) {
  make("ft2232h", 190000);  // 0.1875 MHz: ceil(0.6 / 0.1875) = 4 groups
  adapter->set_reset(true);
  take();
  adapter->reset_pulse();
  EXPECT_EQ(take(), (calls{"write 80 08 0B 80 08 0B 80 08 0B 80 08 0B 80 00 0B"}));
  make("ft2232h", 1000000);
  adapter->reset_pulse();  // reset released: the pulse drives it low once
  EXPECT_EQ(take(), (calls{"write 80 00 0B 80 08 0B"}));
  make("ft2232h:reset=cbus2:led_ok=cbus0", 190000);
  adapter->set_reset(true);
  adapter->set_led_ok(true);
  take();
  adapter->reset_pulse();
  EXPECT_EQ(take(), (calls{"write 82 05 05 82 05 05 82 05 05 82 05 05 82 01 05"}));
  make("ft2232", 92);  // far below 0.3 kHz: limited to 2000 groups
  adapter->reset_pulse();
  EXPECT_EQ(take(), (calls{"write[6003] 80 00 0B .. 80 08 0B"}));
}

TEST_F(ft2232_adapter_test, key_reads_both_pin_bytes) {
  make("ft2232h:key=cbus4");
  EXPECT_TRUE(adapter->has_key());
  device_seen->answers = {0x00, 0x10, 0xFF, 0xEF};
  EXPECT_TRUE(adapter->key_pressed());
  EXPECT_FALSE(adapter->key_pressed());
  EXPECT_EQ(take(), (calls{"write 81 83", "read 00 10", "write 81 83", "read FF EF"}));
  make("ft2232h:key=~dbus4");
  device_seen->answers = {0x10, 0x00, 0xEF, 0xFF, 0x34, 0x12};
  EXPECT_FALSE(adapter->key_pressed());
  EXPECT_TRUE(adapter->key_pressed());
  EXPECT_EQ(adapter->read_pins(), 0x1234u);
}

TEST_F(ft2232_adapter_test, release_sequences) {
  make("ft2232h:power=dbus4:set=dbus5");
  adapter->set_reset(true);
  adapter->power_on();
  take();
  adapter.reset();
  EXPECT_EQ(take(), (calls{"write 8B", "set_bit_mode 00 00", "destroyed"}));
  // -az: MOSI, SCK, RESET and SET become inputs; power keeps its level and stays an output.
  make("ft2232h:power=dbus4:set=dbus5", 190000, true);
  adapter->set_reset(true);
  adapter->power_on();
  take();
  message_capture out;
  adapter.reset();
  EXPECT_EQ(take(), (calls{"write 8B", "write 80 10 10 82 00 00", "destroyed"}));
  EXPECT_EQ(out.text(), "FT2232 left in MPSSE mode with programming pins configured as inputs\n");
  make("ft2232");  // no clock divider to restore on an FT2232C/D
  adapter.reset();
  EXPECT_EQ(take(), (calls{"set_bit_mode 00 00", "destroyed"}));
  // After a failed write nothing more is sent, even with -az, but the bit mode is reset.
  make("ft2232h", 190000, true);
  device_seen->fail_writes = true;
  message_capture failing;
  EXPECT_EQ(status_of([&] { adapter->set_reset(true); }), 70);
  take();
  adapter.reset();
  EXPECT_EQ(failing.text(), "Can't write to FTDI chip (FT_IO_ERROR)\n");
  EXPECT_EQ(take(), (calls{"set_bit_mode 00 00", "destroyed"}));
}

}  // namespace

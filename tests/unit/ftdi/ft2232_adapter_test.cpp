// The MPSSE command bytes each adapter operation sends to a recording device (whole runs go end to end).
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "ftdi/ft2232_adapter.h"
#include "ftdi/ft2232_pin_map.h"
#include "tests/support/fake_clock.h"  // the adapter's waits pass at once
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

typedef std::vector<std::string> calls;

// Logs every call as "what HH HH ..." (long ones as "what[N] first .. last"); reads are answered from `answers`.
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
  void set_latency_timer(uint8_t) override {}
  void set_baud_rate(uint32_t) override {}
  void set_divisor(uint16_t) override {}
  void set_timeouts(uint32_t r, uint32_t w) override { note("set_timeouts", {uint8_t(r / 1000), uint8_t(w / 1000)}); }
  void set_vid_pid(uint32_t, uint32_t) override {}

  std::deque<uint8_t> answers;
  bool fail_writes = false;

 private:
  void note(std::string text, const std::vector<uint8_t>& data) {
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

// An FT4232H channel has no high byte; an FT2232C/D has ACBUS0..3 only.
TEST(ft2232_pin_map, pins_beyond_the_chip_are_refused) {
  const struct {
    const char* text;
    const char* pin;
  } cases[] = {{"ft4232h:key=cbus4", "cbus4"}, {"ft2232:key=acbus4", "acbus4"}};
  for (const auto& c : cases) {
    uint32_t type = 0;
    message_capture out;
    EXPECT_EQ(status_of([&] { ft2232_pin_map(c.text, type); }), 70) << c.text;
    EXPECT_EQ(out.text(), "adapter: invalid pin name '" + std::string(c.pin) + "'\n");
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
  const struct {
    const char* text;
    uint32_t hz;
    const char* clock;
  } clocks[] = {{"ft2232h", 1000000, "write 8A 86 1D 00 87"},  // 30 MHz base
                {"ft2232", 190000, "write 86 1F 00 87"},       // no base command on an FT2232C/D
                {"ft2232", 92, "write 86 C1 FE 87"}};          // divisor 65217
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
  EXPECT_TRUE(adapter->has_power() && adapter->has_enable() && !adapter->has_key());
  adapter->set_reset(true);
  adapter->power_on();
  adapter->enable_on();
  adapter->set_led_error(true);
  adapter->enable_off();
  adapter->power_off();
  EXPECT_EQ(take(), (calls{"write 80 20 3B 82 00 03", "write 80 30 3B 82 00 03", "write 80 10 3B 82 00 03",
                           "write 80 10 3B 82 02 03", "write 80 30 3B 82 02 03", "write 80 20 3B 82 02 03"}));
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

// ceil(0.6 us x SCK in MHz) groups with reset flipped, at least one, at most 2000, then the pins as they were.
TEST_F(ft2232_adapter_test, reset_pulse_groups) {
  const struct {
    const char* text;
    uint32_t hz;
    bool held;
    const char* pulse;
  } cases[] = {
      {"ft2232h", 190000, true, "write 80 08 0B 80 08 0B 80 08 0B 80 08 0B 80 00 0B"},
      {"ft2232h", 1000000, false, "write 80 00 0B 80 08 0B"},
      {"ft2232h:reset=cbus2:led_ok=cbus0", 190000, true, "write 82 05 05 82 05 05 82 05 05 82 05 05 82 01 05"},
      {"ft2232", 92, false, "write[6003] 80 00 0B .. 80 08 0B"},
  };
  for (const auto& c : cases) {
    make(c.text, c.hz);
    if (c.held) adapter->set_reset(true);
    adapter->set_led_ok(true);
    take();
    adapter->reset_pulse();
    EXPECT_EQ(take(), calls{c.pulse}) << c.text;
  }
}

TEST_F(ft2232_adapter_test, key_reads_both_pin_bytes) {
  make("ft2232h:key=cbus4");
  device_seen->answers = {0x00, 0x10, 0xFF, 0xEF};
  EXPECT_TRUE(adapter->key_pressed());
  EXPECT_FALSE(adapter->key_pressed());
  EXPECT_EQ(take(), (calls{"write 81 83", "read 00 10", "write 81 83", "read FF EF"}));
  make("ft2232h:key=~dbus4");
  device_seen->answers = {0x10, 0x00, 0xEF, 0xFF};
  EXPECT_FALSE(adapter->key_pressed());
  EXPECT_TRUE(adapter->key_pressed());
}

TEST_F(ft2232_adapter_test, release_sequences) {
  const struct {
    const char* text;
    bool off_after, fail_writes;
    calls sent;
  } cases[] = {
      {"ft2232h:power=dbus4:set=dbus5", false, false, {"write 8B", "set_bit_mode 00 00", "destroyed"}},
      // -az: MOSI, SCK, RESET and SET become inputs; power keeps its level and stays an output.
      {"ft2232h:power=dbus4:set=dbus5", true, false, {"write 8B", "write 80 10 10 82 00 00", "destroyed"}},
      {"ft2232", false, false, {"set_bit_mode 00 00", "destroyed"}},  // no clock divider to restore
      // After a failed write nothing more is sent, even with -az, but the bit mode is reset.
      {"ft2232h", true, true, {"set_bit_mode 00 00", "destroyed"}},
  };
  for (const auto& c : cases) {
    make(c.text, 190000, c.off_after);
    message_capture out;
    device_seen->fail_writes = c.fail_writes;
    EXPECT_EQ(status_of([&] {
                adapter->set_reset(true);
                adapter->power_on();
              }),
              c.fail_writes ? 70 : -1);
    take();
    adapter.reset();
    EXPECT_EQ(take(), c.sent) << c.text;
    EXPECT_EQ(out.text(), c.fail_writes  ? "Can't write to FTDI chip (FT_IO_ERROR)\n"
                          : c.off_after ? "FT2232 left in MPSSE mode with programming pins configured as inputs\n"
                                        : "") << c.text;
  }
}

}  // namespace

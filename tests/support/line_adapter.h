// A test adapter bit-banging SPI mode 0 onto the chip model in modelled time (the timers' clock), in block or byte
// mode, logging its other operations ("reset on", "delay 6", "write_block 260") for checks of waits and pulses.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "adapter/spi_adapter.h"
#include "driver/clock_source.h"
#include "sim/chip/line_target.h"

namespace isp_test {

struct adapter_options {
  bool block = true;
  bool key = false;
};

class line_adapter : public spi_adapter, public clock_source {
 public:
  line_adapter(vt::line_target& target, adapter_options options);

  bool block_mode() override { return opt.block; }
  uint8_t transfer(uint8_t out) override { return shift(out); }
  void transfer_block(const uint8_t* out, uint8_t* in, uint32_t count) override;
  void write_block(const uint8_t* out, uint32_t count) override;
  void set_reset(bool active) override;  // active: RESET pin low
  void reset_pulse() override;
  void sck_pulse() override;
  void delay(float ms) override;
  bool has_power() override { return false; }
  void power_on() override { log("power_on"); }
  void power_off() override { log("power_off"); }
  bool has_enable() override { return false; }
  void enable_on() override { log("enable_on"); }
  void enable_off() override { log("enable_off"); }
  void set_led_ok(bool on) override { log(on ? "led_ok on" : "led_ok off"); }
  void set_led_error(bool on) override { log(on ? "led_error on" : "led_error off"); }
  bool has_key() override { return opt.key; }
  bool key_pressed() override;
  double sck_frequency() override { return 1e3 / double(2 * half_ns); }
  const char* name() override { return "test line adapter"; }
  time_value now() override { return {int32_t(now_ns / 1000000000), int32_t(now_ns / 1000 % 1000000)}; }
  bool sleep(const timespec& want, timespec&) override;  // lets the modelled time pass on the lines

  std::vector<std::string> events;
  int count(const std::string& event) const;
  std::vector<float> delays() const;

  static constexpr uint64_t half_ns = 25000;  // SCK half period: slow enough for every chip's clock
  uint64_t now_ns = 1000000;                  // modelled time; the chip's write timer reads it too
  uint64_t bytes = 0;                         // SPI bytes shifted
  std::function<void()> on_byte;              // after every byte (tests raise signals from here)
  std::vector<bool> key_samples;              // consumed one per key_pressed(); the last one stays
  vt::target_lines lines;

 private:
  void log(const std::string& e) { events.push_back(e); }
  void step(uint64_t ns);
  uint8_t shift(uint8_t out);

  vt::line_target& chip;
  adapter_options opt;
};

}  // namespace isp_test

// The bit-banged SPI adapter on a PC parallel port: every SPI bit is one burst
// of a precomputed byte pattern to the data register, with SCK low and high
// counted in port writes. Built by create_lpt_adapter from a port and a pin map.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "adapter/pin_map.h"
#include "adapter/spi_adapter.h"
#include "lpt/lpt_port.h"

class lpt_adapter : public spi_adapter {
 public:
  // SCK low and high phases of setup_us and hold_us (rounded up to whole port
  // writes, at least one each). Takes the port and the map.
  lpt_adapter(std::unique_ptr<lpt_port> port, std::unique_ptr<pin_map> pins, float setup_us, float hold_us);
  // Generates the target's clock on xtal: SCK low and high last low_clocks and
  // high_clocks periods of that clock (two port writes each).
  lpt_adapter(std::unique_ptr<lpt_port> port, std::unique_ptr<pin_map> pins, int low_clocks, int high_clocks);
  ~lpt_adapter() override;  // release(), a failure swallowed after its message

  bool block_mode() override;
  uint8_t transfer(uint8_t out) override;
  void write(uint8_t out) override;
  uint8_t read() override;
  void set_reset(bool active) override;
  void reset_pulse() override;
  void sck_pulse() override;
  void delay(float ms) override;
  bool has_power() override;
  void power_on() override;
  void power_off() override;
  bool has_enable() override;
  void enable_on() override;
  void enable_off() override;
  void set_led_ok(bool on) override;
  void set_led_error(bool on) override;
  bool has_key() override;
  bool key_pressed() override;
  double sck_frequency() override;
  const char* name() override;
  void release() override;  // enable off, then power off, then the port given back

  std::unique_ptr<lpt_port> port;
  std::unique_ptr<pin_map> pins;
  bool xtal_enabled = false;
  uint32_t data_shadow = 0;  // low byte: the data register as last written
  std::vector<uint8_t> zero_bit;
  std::vector<uint8_t> one_bit;
  std::vector<uint8_t> reset_pulse_bytes;
  uint32_t bit_length = 0;
  uint32_t reset_pulse_length = 0;

 private:
  bool released = false;
  void build_patterns(uint32_t low_writes, uint32_t high_writes);
  void add_clock();  // folds the xtal square wave into the patterns
  void assert_signal(int signal);
  void deassert_signal(int signal);
  void set_signal(int signal, bool active);
  void restore_data();  // the data register := low byte of data_shadow
  uint8_t shift_in(const std::vector<uint8_t>& pattern, uint8_t received);
  uint8_t received_value(uint8_t bits) const;
  void clocked_delay(float ms);
};

// The FTDI MPSSE SPI adapter: an FT2232C/D, FT2232H or FT4232H channel whose
// MPSSE engine shifts the ISP bytes. Built by create_ft2232_adapter; every
// byte goes through the ftdi_device it owns, one USB transfer per block.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "adapter/pin_map.h"
#include "adapter/spi_adapter.h"
#include "ftdi/ftdi_device.h"

class ft2232_adapter : public spi_adapter {
 public:
  // Takes the opened channel and the completed pin map (reset already
  // swapped), puts the channel into MPSSE mode, sets its clock divisor for
  // requested_sck_hz and drives every output to its inactive level.
  // device_type is the FT_DEVICE code of the channel; outputs_off_after (-az)
  // chooses the release sequence.
  ft2232_adapter(std::unique_ptr<ftdi_device> device, std::unique_ptr<pin_map> pins, uint32_t device_type,
                 uint32_t requested_sck_hz, bool outputs_off_after);
  ~ft2232_adapter() override;  // release(), a failure swallowed after its message

  bool block_mode() override;
  uint8_t transfer(uint8_t out) override;
  void write(uint8_t out) override;
  uint8_t read() override;
  void transfer_block(const uint8_t* out, uint8_t* in, uint32_t count) override;
  void write_block(const uint8_t* out, uint32_t count) override;
  void read_block(uint8_t* in, uint32_t count) override;
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
  void release() override;  // the release sequence

  // One set-data-bits write of both pin bytes with the current levels and directions.
  void write_pins();
  // The 16-bit pin state: low byte from 0x81, high byte from 0x83.
  uint32_t read_pins();

  // Largest blocks sent in one MPSSE command; longer blocks are split.
  static const uint32_t transfer_block_limit = 16384;
  static const uint32_t write_block_limit = 4096;
  static const uint32_t read_block_limit = 65536;

 private:
  uint32_t signal_bits(int signal) const;
  bool defined(int signal) const { return signal_bits(signal) != 0; }
  void drive(int signal, bool active);  // changes output_value only
  void set_signal(int signal, bool active);  // drive, then write_pins
  // The device's write; a failure also marks the channel as unable to take writes.
  void send(const void* bytes, uint32_t count);
  // Shifts count bytes with the MPSSE byte command `opcode`, at most `limit`
  // per command: out's bytes (when given) after the length, Send Immediate and
  // the read of the reply into in (when given).
  void shift_bytes(uint8_t opcode, const uint8_t* out, uint8_t* in, uint32_t count, uint32_t limit);

  std::unique_ptr<ftdi_device> device;
  std::unique_ptr<pin_map> pins;
  uint32_t device_type;
  bool outputs_off_after;
  uint32_t output_value = 0;
  uint32_t output_enable = 0;
  bool mosi_inverted = false;
  bool miso_inverted = false;
  uint8_t clock_edge_bits = 0x01;
  float sck_mhz = 0;
  bool write_failed = false;  // a write failed: the release sends nothing more
  bool released = false;
  std::vector<uint8_t> command;  // one USB write is built here
};

// The one interface every programming adapter implements: SPI bytes to and
// from the target, its RESET line, power, buffer enable, LEDs and key.
// Abstract so that the parallel-port and FTDI adapters (and test adapters)
// are interchangeable above it.
#pragma once

#include <cstdint>
#include <memory>

class spi_adapter {
 public:
  virtual ~spi_adapter();
  virtual bool block_mode() = 0;
  virtual uint8_t transfer(uint8_t out) = 0;
  virtual void write(uint8_t out);
  virtual uint8_t read();
  virtual void transfer_block(const uint8_t* out, uint8_t* in, uint32_t count);
  virtual void write_block(const uint8_t* out, uint32_t count);
  virtual void read_block(uint8_t* in, uint32_t count);
  virtual void set_reset(bool active) = 0;
  virtual void reset_pulse() = 0;
  virtual void sck_pulse() = 0;
  virtual void delay(float ms) = 0;
  virtual bool has_power() = 0;
  virtual void power_on() = 0;
  virtual void power_off() = 0;
  virtual bool has_enable() = 0;
  virtual void enable_on() = 0;
  virtual void enable_off() = 0;
  virtual void set_led_ok(bool on) = 0;
  virtual void set_led_error(bool on) = 0;
  virtual bool has_key() = 0;
  virtual bool key_pressed() = 0;
  virtual double sck_frequency() = 0;
  virtual const char* name() = 0;
  // Leaves the outputs inactive and gives the port or channel back, once; the
  // adapter is not used afterwards. A failure is reported and thrown, so the
  // program entry calls it where it can still turn into the exit status; the
  // destructor calls it too, swallowing failures, for every other ending.
  virtual void release();
};

// The one adapter of the process. Replaced only by a completely built adapter;
// destroyed at process exit so its outputs end inactive.
class adapter_holder {
 public:
  spi_adapter* get() const { return held.get(); }
  spi_adapter* operator->() const { return held.get(); }
  explicit operator bool() const { return held != nullptr; }
  void replace(std::unique_ptr<spi_adapter> fresh);  // fresh is complete; the old one goes
  void reset() { held.reset(); }

 private:
  std::unique_ptr<spi_adapter> held;
};

extern adapter_holder current_adapter;

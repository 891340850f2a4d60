// One emulated FTDI channel as a D2XX handle sees it: open state, driver
// settings, the receive queue with modelled USB timing, and its MPSSE engine,
// whose pins reach the simulated chip through the bench when the chip hangs on
// this channel. Used by the exported D2XX functions.
#pragma once

#include <cstdint>
#include <deque>

#include "sim/ftdi/d2xx_api.h"
#include "sim/ftdi/ftdi_bus.h"
#include "sim/ftdi/ftdi_wiring.h"
#include "sim/ftdi/mpsse_engine.h"

namespace vt {

class ftdi_channel : private mpsse_host {
 public:
  ftdi_channel(const channel_info& info, const ftdi_wiring& wiring);

  const channel_info& info() const { return info_; }
  bool is_open() const { return open_; }
  void open();
  void close();

  // FT_Read: waits (in modelled time) until `count` bytes have arrived or the
  // read timeout has passed; returns the bytes delivered.
  uint32_t read(uint8_t* buffer, uint32_t count);
  // FT_Write: the bytes go over the bus to the engine (or out of the UART in reset mode).
  uint32_t write(const uint8_t* buffer, uint32_t count);
  // Bytes that have arrived at the host by now (waits for the next arrival when some are on their way).
  uint32_t queue_status();
  FT_STATUS set_bit_mode(uint8_t mask, uint8_t mode);
  void purge(uint32_t mask);
  FT_STATUS set_latency_timer(uint8_t ms);
  uint8_t latency_timer() const { return latency_ms_; }
  FT_STATUS set_baud_rate(uint32_t baud);
  void set_divisor(uint16_t divisor);
  void set_timeouts(uint32_t read_ms, uint32_t write_ms);
  FT_STATUS set_usb_parameters(uint32_t in_size, uint32_t out_size);

  const mpsse_engine& engine() const { return engine_; }

 private:
  struct rx_byte {
    uint8_t value;
    uint64_t produced;
    uint64_t ready;  // when the chip sends it to the host; UINT64_MAX while it waits
  };

  uint64_t now_ns() override;
  void advance_ns(uint64_t ns) override;
  void pins_changed(uint16_t latch, uint16_t direction) override;
  uint16_t pin_inputs() override;
  void emit(uint8_t byte) override;
  void flush() override;

  void turn();                    // one control request over the bus
  void settle(uint64_t t);        // latency-timer flushes up to t
  uint64_t arrival(size_t i) const;  // when byte i is at the host
  void advance_to(uint64_t t);
  void trace_event(const char* what, unsigned value);

  channel_info info_;
  const ftdi_wiring& wiring_;
  mpsse_engine engine_;
  bool open_ = false;
  bool mpsse_mode_ = false;
  uint32_t read_timeout_ms_ = 0, write_timeout_ms_ = 0;  // 0: no timeout
  uint8_t latency_ms_ = 16;
  uint32_t baud_ = 9600;
  uint32_t in_transfer_size_ = 4096;
  std::deque<rx_byte> rx_;
  size_t rx_waiting_ = 0;  // bytes at the end of rx_ not yet sent to the host
};

}  // namespace vt

// One opened FTDI channel: the hardware seam of the MPSSE adapter. The D2XX
// implementation talks to the chip; tests put a recording device in its place.
// Every operation either succeeds or prints its message and throws app_error.
#pragma once

#include <cstdint>

class ftdi_device {
 public:
  virtual ~ftdi_device();
  virtual void set_bit_mode(uint8_t mask, uint8_t mode) = 0;
  virtual void read(void* buffer, uint32_t count) = 0;         // exactly count bytes or app_error
  virtual void write(const void* buffer, uint32_t count) = 0;  // exactly count bytes or app_error
  virtual void purge(uint8_t mask) = 0;
  virtual void set_latency_timer(uint8_t ms) = 0;
  virtual void set_baud_rate(uint32_t rate) = 0;
  virtual void set_divisor(uint16_t divisor) = 0;
  virtual void set_timeouts(uint32_t read_timeout_ms, uint32_t write_timeout_ms) = 0;
  virtual void set_vid_pid(uint32_t vid, uint32_t pid) = 0;
};

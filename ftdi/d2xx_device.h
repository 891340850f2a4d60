// An FTDI channel opened through the D2XX library. It owns the library and
// the handle: destroying it closes the handle and unloads the library.
#pragma once

#include <cstdint>
#include <memory>

#include "ftdi/d2xx_library.h"
#include "ftdi/ftdi_device.h"

class d2xx_device : public ftdi_device {
 public:
  d2xx_device(uint32_t type, std::unique_ptr<d2xx_library> library, FT_HANDLE handle);
  ~d2xx_device() override;  // FT_Close (status not checked), then the library goes
  d2xx_device(const d2xx_device&) = delete;
  d2xx_device& operator=(const d2xx_device&) = delete;

  void set_bit_mode(uint8_t mask, uint8_t mode) override;
  void read(void* buffer, uint32_t count) override;
  void write(const void* buffer, uint32_t count) override;
  void purge(uint8_t mask) override;
  void set_latency_timer(uint8_t ms) override;
  void set_baud_rate(uint32_t rate) override;
  void set_divisor(uint16_t divisor) override;
  void set_timeouts(uint32_t read_timeout_ms, uint32_t write_timeout_ms) override;
  void set_vid_pid(uint32_t vid, uint32_t pid) override;

  uint32_t type;  // FT_DEVICE code of the opened chip

 private:
  std::unique_ptr<d2xx_library> library;
  FT_HANDLE handle;
};

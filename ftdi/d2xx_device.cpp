#include "ftdi/d2xx_device.h"

#include "ftdi/ft_status.h"

d2xx_device::d2xx_device(uint32_t type_code, std::unique_ptr<d2xx_library> lib, FT_HANDLE h)
    : type(type_code), library(std::move(lib)), handle(h) {}

d2xx_device::~d2xx_device() { library->FT_Close(handle); }

void d2xx_device::set_bit_mode(uint8_t mask, uint8_t mode) {
  check_ft_status(library->FT_SetBitMode(handle, mask, mode), "set bit mode", false);
}

void d2xx_device::read(void* buffer, uint32_t count) {
  DWORD returned = 0;  // a call that fails early counts as short too
  FT_STATUS status = library->FT_Read(handle, buffer, count, &returned);
  check_ft_status(status, "read from FTDI chip", returned != count);
}

void d2xx_device::write(const void* buffer, uint32_t count) {
  DWORD written = 0;
  FT_STATUS status = library->FT_Write(handle, const_cast<void*>(buffer), count, &written);
  check_ft_status(status, "write to FTDI chip", written != count);
}

void d2xx_device::purge(uint8_t mask) {
  check_ft_status(library->FT_Purge(handle, mask), "purge FTDI chip buffer(s)", false);
}

void d2xx_device::set_latency_timer(uint8_t ms) {
  check_ft_status(library->FT_SetLatencyTimer(handle, ms), "set latency timer", false);
}

void d2xx_device::set_baud_rate(uint32_t rate) {
  check_ft_status(library->FT_SetBaudRate(handle, rate), "set baud rate", false);
}

void d2xx_device::set_divisor(uint16_t divisor) {
  check_ft_status(library->FT_SetDivisor(handle, divisor), "set divider", false);
}

void d2xx_device::set_timeouts(uint32_t read_timeout_ms, uint32_t write_timeout_ms) {
  check_ft_status(library->FT_SetTimeouts(handle, read_timeout_ms, write_timeout_ms), "set timeouts", false);
}

void d2xx_device::set_vid_pid(uint32_t vid, uint32_t pid) {
  check_ft_status(library->FT_SetVIDPID(vid, pid), "set VID and PID", false);
}

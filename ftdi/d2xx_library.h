// FTDI's D2XX library loaded at run time: the table of its 23 functions,
// resolved by name when it is loaded. One is created for each FTDI device
// opening or device listing and lives as long as that device or listing.
#pragma once

#include <cstdint>

#include "ftdi/d2xx_api.h"
#include "ftdi/dyn_library.h"

extern const char* const d2xx_library_file;  // "libftd2xx.so"

class d2xx_library : public dyn_library {
 public:
  // Loads the library (the file name is for tests; zindle always uses
  // d2xx_library_file), resolves every function in table order, refusing a
  // library that lacks one with app_error 70, then reads the library version.
  explicit d2xx_library(const char* file = d2xx_library_file);

  uint32_t library_version = 0;  // 0 when FT_GetLibraryVersion failed

  // In the order of resolution.
  ft_open_fn* FT_Open = nullptr;
  ft_open_ex_fn* FT_OpenEx = nullptr;
  ft_list_devices_fn* FT_ListDevices = nullptr;
  ft_close_fn* FT_Close = nullptr;
  ft_read_fn* FT_Read = nullptr;
  ft_write_fn* FT_Write = nullptr;
  ft_set_baud_rate_fn* FT_SetBaudRate = nullptr;
  ft_set_divisor_fn* FT_SetDivisor = nullptr;
  ft_purge_fn* FT_Purge = nullptr;
  ft_set_timeouts_fn* FT_SetTimeouts = nullptr;
  ft_get_queue_status_fn* FT_GetQueueStatus = nullptr;
  ft_get_status_fn* FT_GetStatus = nullptr;
  ft_set_latency_timer_fn* FT_SetLatencyTimer = nullptr;
  ft_get_latency_timer_fn* FT_GetLatencyTimer = nullptr;
  ft_set_bit_mode_fn* FT_SetBitMode = nullptr;
  ft_set_usb_parameters_fn* FT_SetUSBParameters = nullptr;
  ft_get_device_info_fn* FT_GetDeviceInfo = nullptr;
  ft_create_device_info_list_fn* FT_CreateDeviceInfoList = nullptr;
  ft_get_device_info_list_fn* FT_GetDeviceInfoList = nullptr;
  ft_get_device_info_detail_fn* FT_GetDeviceInfoDetail = nullptr;
  ft_get_driver_version_fn* FT_GetDriverVersion = nullptr;
  ft_get_library_version_fn* FT_GetLibraryVersion = nullptr;
  ft_set_vid_pid_fn* FT_SetVIDPID = nullptr;

 private:
  template <typename F>
  void resolve(F*& function, const char* function_name);
};

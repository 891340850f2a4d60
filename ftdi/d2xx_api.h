// The few D2XX types and function signatures that zindle uses, declared here
// because FTDI's headers are not used: the library is loaded at run time.
// Read by the library binding and the device opening.
#pragma once

#include <cstdint>

typedef unsigned int DWORD;  // 32-bit on Linux
typedef unsigned int ULONG;  // the Linux library defines it as 32-bit
typedef unsigned short USHORT;
typedef unsigned char UCHAR;
typedef ULONG FT_STATUS;
typedef void* FT_HANDLE;
typedef ULONG FT_DEVICE;

enum : FT_STATUS { FT_OK = 0 };

enum : FT_DEVICE {
  FT_DEVICE_2232C = 4,  // FT2232C/D
  FT_DEVICE_2232H = 6,
  FT_DEVICE_4232H = 7,
};

enum : DWORD {
  FT_OPEN_BY_SERIAL_NUMBER = 1,
  FT_OPEN_BY_DESCRIPTION = 2,
  FT_OPEN_BY_LOCATION = 4,
};

enum : UCHAR { FT_PURGE_RX = 1, FT_PURGE_TX = 2 };
enum : UCHAR { FT_BITMODE_RESET = 0x00, FT_BITMODE_MPSSE = 0x02 };

struct FT_DEVICE_LIST_INFO_NODE {
  ULONG Flags;
  ULONG Type;
  ULONG ID;  // VID in bits 16-31, PID in bits 0-15
  DWORD LocId;
  char SerialNumber[16];
  char Description[64];
  FT_HANDLE ftHandle;
};

extern "C" {
typedef FT_STATUS ft_open_fn(int device_number, FT_HANDLE* handle);
typedef FT_STATUS ft_open_ex_fn(void* arg, DWORD flags, FT_HANDLE* handle);
typedef FT_STATUS ft_list_devices_fn(void* arg1, void* arg2, DWORD flags);
typedef FT_STATUS ft_close_fn(FT_HANDLE handle);
typedef FT_STATUS ft_read_fn(FT_HANDLE handle, void* buffer, DWORD bytes_to_read, DWORD* bytes_returned);
typedef FT_STATUS ft_write_fn(FT_HANDLE handle, void* buffer, DWORD bytes_to_write, DWORD* bytes_written);
typedef FT_STATUS ft_set_baud_rate_fn(FT_HANDLE handle, ULONG baud_rate);
typedef FT_STATUS ft_set_divisor_fn(FT_HANDLE handle, USHORT divisor);
typedef FT_STATUS ft_purge_fn(FT_HANDLE handle, ULONG mask);
typedef FT_STATUS ft_set_timeouts_fn(FT_HANDLE handle, ULONG read_timeout_ms, ULONG write_timeout_ms);
typedef FT_STATUS ft_get_queue_status_fn(FT_HANDLE handle, DWORD* rx_bytes);
typedef FT_STATUS ft_get_status_fn(FT_HANDLE handle, DWORD* rx_bytes, DWORD* tx_bytes, DWORD* event_word);
typedef FT_STATUS ft_set_latency_timer_fn(FT_HANDLE handle, UCHAR latency_ms);
typedef FT_STATUS ft_get_latency_timer_fn(FT_HANDLE handle, UCHAR* latency_ms);
typedef FT_STATUS ft_set_bit_mode_fn(FT_HANDLE handle, UCHAR mask, UCHAR mode);
typedef FT_STATUS ft_set_usb_parameters_fn(FT_HANDLE handle, ULONG in_transfer_size, ULONG out_transfer_size);
typedef FT_STATUS ft_get_device_info_fn(FT_HANDLE handle, FT_DEVICE* type, DWORD* id, char* serial_number,
                                        char* description, void* reserved);
typedef FT_STATUS ft_create_device_info_list_fn(DWORD* number_of_devices);
typedef FT_STATUS ft_get_device_info_list_fn(FT_DEVICE_LIST_INFO_NODE* list, DWORD* number_of_devices);
typedef FT_STATUS ft_get_device_info_detail_fn(DWORD index, DWORD* flags, DWORD* type, DWORD* id, DWORD* location,
                                               void* serial_number, void* description, FT_HANDLE* handle);
typedef FT_STATUS ft_get_driver_version_fn(FT_HANDLE handle, DWORD* version);
typedef FT_STATUS ft_get_library_version_fn(DWORD* version);
typedef FT_STATUS ft_set_vid_pid_fn(DWORD vid, DWORD pid);
}

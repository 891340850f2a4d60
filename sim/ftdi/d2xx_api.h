// The D2XX interface as the emulated libftd2xx.so exports it: the Linux types,
// status codes, flags and the 23 functions with C linkage. Also used by tests
// that load the library with dlopen and call it like any client would.
#pragma once

extern "C" {

typedef unsigned int DWORD;
typedef unsigned int ULONG;  // 32-bit on Linux, not unsigned long
typedef unsigned short USHORT;
typedef unsigned char UCHAR;
typedef ULONG FT_STATUS;
typedef void* FT_HANDLE;
typedef ULONG FT_DEVICE;

typedef struct {
  ULONG Flags;
  ULONG Type;
  ULONG ID;
  DWORD LocId;
  char SerialNumber[16];
  char Description[64];
  FT_HANDLE ftHandle;
} FT_DEVICE_LIST_INFO_NODE;

constexpr FT_STATUS FT_OK = 0;
constexpr FT_STATUS FT_INVALID_HANDLE = 1;
constexpr FT_STATUS FT_DEVICE_NOT_FOUND = 2;
constexpr FT_STATUS FT_DEVICE_NOT_OPENED = 3;
constexpr FT_STATUS FT_IO_ERROR = 4;
constexpr FT_STATUS FT_INSUFFICIENT_RESOURCES = 5;
constexpr FT_STATUS FT_INVALID_PARAMETER = 6;
constexpr FT_STATUS FT_INVALID_BAUD_RATE = 7;
constexpr FT_STATUS FT_INVALID_ARGS = 16;
constexpr FT_STATUS FT_NOT_SUPPORTED = 17;
constexpr FT_STATUS FT_OTHER_ERROR = 18;

constexpr FT_DEVICE FT_DEVICE_2232C = 4;
constexpr FT_DEVICE FT_DEVICE_2232H = 6;
constexpr FT_DEVICE FT_DEVICE_4232H = 7;

constexpr DWORD FT_OPEN_BY_SERIAL_NUMBER = 1;
constexpr DWORD FT_OPEN_BY_DESCRIPTION = 2;
constexpr DWORD FT_OPEN_BY_LOCATION = 4;
constexpr DWORD FT_LIST_NUMBER_ONLY = 0x80000000u;
constexpr DWORD FT_LIST_BY_INDEX = 0x40000000u;
constexpr DWORD FT_LIST_ALL = 0x20000000u;
constexpr DWORD FT_PURGE_RX = 1;
constexpr DWORD FT_PURGE_TX = 2;
constexpr DWORD FT_FLAGS_OPENED = 1;
constexpr DWORD FT_FLAGS_HISPEED = 2;

constexpr UCHAR FT_BITMODE_RESET = 0x00;
constexpr UCHAR FT_BITMODE_MPSSE = 0x02;

#define VT_D2XX_EXPORT __attribute__((visibility("default")))

VT_D2XX_EXPORT FT_STATUS FT_Open(int device_number, FT_HANDLE* handle);
VT_D2XX_EXPORT FT_STATUS FT_OpenEx(void* arg, DWORD flags, FT_HANDLE* handle);
VT_D2XX_EXPORT FT_STATUS FT_ListDevices(void* arg1, void* arg2, DWORD flags);
VT_D2XX_EXPORT FT_STATUS FT_Close(FT_HANDLE handle);
VT_D2XX_EXPORT FT_STATUS FT_Read(FT_HANDLE handle, void* buffer, DWORD bytes_to_read, DWORD* bytes_returned);
VT_D2XX_EXPORT FT_STATUS FT_Write(FT_HANDLE handle, void* buffer, DWORD bytes_to_write, DWORD* bytes_written);
VT_D2XX_EXPORT FT_STATUS FT_SetBaudRate(FT_HANDLE handle, ULONG baud_rate);
VT_D2XX_EXPORT FT_STATUS FT_SetDivisor(FT_HANDLE handle, USHORT divisor);
VT_D2XX_EXPORT FT_STATUS FT_Purge(FT_HANDLE handle, ULONG mask);
VT_D2XX_EXPORT FT_STATUS FT_SetTimeouts(FT_HANDLE handle, ULONG read_timeout_ms, ULONG write_timeout_ms);
VT_D2XX_EXPORT FT_STATUS FT_GetQueueStatus(FT_HANDLE handle, DWORD* rx_bytes);
VT_D2XX_EXPORT FT_STATUS FT_GetStatus(FT_HANDLE handle, DWORD* rx_bytes, DWORD* tx_bytes, DWORD* event_word);
VT_D2XX_EXPORT FT_STATUS FT_SetLatencyTimer(FT_HANDLE handle, UCHAR latency_ms);
VT_D2XX_EXPORT FT_STATUS FT_GetLatencyTimer(FT_HANDLE handle, UCHAR* latency_ms);
VT_D2XX_EXPORT FT_STATUS FT_SetBitMode(FT_HANDLE handle, UCHAR mask, UCHAR mode);
VT_D2XX_EXPORT FT_STATUS FT_SetUSBParameters(FT_HANDLE handle, ULONG in_transfer_size, ULONG out_transfer_size);
VT_D2XX_EXPORT FT_STATUS FT_GetDeviceInfo(FT_HANDLE handle, FT_DEVICE* type, DWORD* id, char* serial_number,
                                          char* description, void* reserved);
VT_D2XX_EXPORT FT_STATUS FT_CreateDeviceInfoList(DWORD* number_of_devices);
VT_D2XX_EXPORT FT_STATUS FT_GetDeviceInfoList(FT_DEVICE_LIST_INFO_NODE* list, DWORD* number_of_devices);
VT_D2XX_EXPORT FT_STATUS FT_GetDeviceInfoDetail(DWORD index, DWORD* flags, DWORD* type, DWORD* id, DWORD* location,
                                                void* serial_number, void* description, FT_HANDLE* handle);
VT_D2XX_EXPORT FT_STATUS FT_GetDriverVersion(FT_HANDLE handle, DWORD* version);
VT_D2XX_EXPORT FT_STATUS FT_GetLibraryVersion(DWORD* version);
VT_D2XX_EXPORT FT_STATUS FT_SetVIDPID(DWORD vid, DWORD pid);

}  // extern "C"

// The 23 names in the order a client resolves them (also the names a
// missing-function variant of the library may leave out).
#define VT_D2XX_FUNCTIONS(X)                                                                                    \
  X(FT_Open) X(FT_OpenEx) X(FT_ListDevices) X(FT_Close) X(FT_Read) X(FT_Write) X(FT_SetBaudRate)                \
  X(FT_SetDivisor) X(FT_Purge) X(FT_SetTimeouts) X(FT_GetQueueStatus) X(FT_GetStatus) X(FT_SetLatencyTimer)      \
  X(FT_GetLatencyTimer) X(FT_SetBitMode) X(FT_SetUSBParameters) X(FT_GetDeviceInfo) X(FT_CreateDeviceInfoList)   \
  X(FT_GetDeviceInfoList) X(FT_GetDeviceInfoDetail) X(FT_GetDriverVersion) X(FT_GetLibraryVersion) X(FT_SetVIDPID)

// A D2XX stand-in for the unit tests of the binding and the device opening.
// Built twice: complete, and without FT_Purge to test a library that lacks
// a function.
#include <cstring>

#include "fake_d2xx.h"

typedef unsigned DWORD;
typedef unsigned FT_STATUS;
typedef void* FT_HANDLE;

extern "C" {

fake_d2xx_state fake_d2xx = {};

namespace {
FT_STATUS io(DWORD count, DWORD* done) {
  *done = count > fake_d2xx.short_by ? count - fake_d2xx.short_by : 0;
  return fake_d2xx.io_status;
}
}  // namespace

FT_STATUS FT_Open(int, FT_HANDLE*) { return 4; }

FT_STATUS FT_OpenEx(void* arg, DWORD flags, FT_HANDLE* handle) {
  fake_d2xx.open_flags = flags;
  strncpy(fake_d2xx.open_text, static_cast<const char*>(arg), sizeof fake_d2xx.open_text - 1);
  if (fake_d2xx.open_status != 0) return fake_d2xx.open_status;
  for (int i = 0; i < fake_d2xx.device_count; ++i) {
    const fake_d2xx_device& d = fake_d2xx.devices[i];
    const char* key = flags == 1 ? d.serial_number : d.description;
    if (strcmp(key, static_cast<const char*>(arg)) == 0) {
      if (fake_d2xx.opened == i) return 3;  // FT_DEVICE_NOT_OPENED
      fake_d2xx.opened = i;
      *handle = &fake_d2xx.devices[i];
      return 0;
    }
  }
  return 2;  // FT_DEVICE_NOT_FOUND
}

FT_STATUS FT_ListDevices(void*, void*, DWORD) { return 17; }

FT_STATUS FT_Close(FT_HANDLE) {
  ++fake_d2xx.close_calls;
  fake_d2xx.opened = -1;
  return 0;
}

FT_STATUS FT_Read(FT_HANDLE, void* buffer, DWORD count, DWORD* returned) {
  memset(buffer, 0x5A, count);
  return io(count, returned);
}

FT_STATUS FT_Write(FT_HANDLE, void*, DWORD count, DWORD* written) { return io(count, written); }

FT_STATUS FT_SetBaudRate(FT_HANDLE, unsigned) { return 7; }
FT_STATUS FT_SetDivisor(FT_HANDLE, unsigned short) { return 0; }
#ifndef FAKE_D2XX_WITHOUT_PURGE
FT_STATUS FT_Purge(FT_HANDLE, unsigned) { return 0; }
#endif
FT_STATUS FT_SetTimeouts(FT_HANDLE, unsigned, unsigned) { return 0; }
FT_STATUS FT_GetQueueStatus(FT_HANDLE, DWORD*) { return 0; }
FT_STATUS FT_GetStatus(FT_HANDLE, DWORD*, DWORD*, DWORD*) { return 0; }
FT_STATUS FT_SetLatencyTimer(FT_HANDLE, unsigned char) { return 0; }
FT_STATUS FT_GetLatencyTimer(FT_HANDLE, unsigned char*) { return 0; }
FT_STATUS FT_SetBitMode(FT_HANDLE, unsigned char, unsigned char) { return 0; }
FT_STATUS FT_SetUSBParameters(FT_HANDLE, unsigned, unsigned) { return 0; }

FT_STATUS FT_GetDeviceInfo(FT_HANDLE handle, unsigned* type, DWORD* id, char* serial_number, char* description,
                           void*) {
  if (fake_d2xx.get_info_status != 0) return fake_d2xx.get_info_status;
  const fake_d2xx_device& d = *static_cast<fake_d2xx_device*>(handle);
  *type = d.type;
  *id = d.id;
  memcpy(serial_number, d.serial_number, 16);
  serial_number[16] = '\0';
  memcpy(description, d.description, 64);
  description[64] = '\0';
  return 0;
}

FT_STATUS FT_CreateDeviceInfoList(DWORD* count) {
  *count = static_cast<DWORD>(fake_d2xx.device_count);
  return fake_d2xx.create_list_status;
}

struct node {
  unsigned Flags, Type, ID;
  DWORD LocId;
  char SerialNumber[16];
  char Description[64];
  FT_HANDLE ftHandle;
};

FT_STATUS FT_GetDeviceInfoList(node* list, DWORD* count) {
  if (fake_d2xx.get_list_status != 0) return fake_d2xx.get_list_status;
  for (int i = 0; i < fake_d2xx.device_count; ++i) {
    list[i] = node{};
    list[i].Type = fake_d2xx.devices[i].type;
    list[i].ID = fake_d2xx.devices[i].id;
    memcpy(list[i].SerialNumber, fake_d2xx.devices[i].serial_number, 16);
    memcpy(list[i].Description, fake_d2xx.devices[i].description, 64);
  }
  *count = static_cast<DWORD>(fake_d2xx.device_count);
  return 0;
}

FT_STATUS FT_GetDeviceInfoDetail(DWORD, DWORD*, DWORD*, DWORD*, DWORD*, void*, void*, FT_HANDLE*) { return 17; }

FT_STATUS FT_GetDriverVersion(FT_HANDLE, DWORD* version) {
  *version = fake_d2xx.driver_version;
  return fake_d2xx.driver_version_status;
}

FT_STATUS FT_GetLibraryVersion(DWORD* version) {
  *version = fake_d2xx.library_version;
  return fake_d2xx.library_version_status;
}

FT_STATUS FT_SetVIDPID(DWORD vid, DWORD pid) {
  ++fake_d2xx.vid_pid_calls;
  fake_d2xx.vid = vid;
  fake_d2xx.pid = pid;
  return 0;
}
}

#include "ftdi/d2xx_library.h"

#include "driver/messages.h"

const char* const d2xx_library_file = "libftd2xx.so";

template <typename F>
void d2xx_library::resolve(F*& function, const char* function_name) {
  void* address = symbol(function_name);
  if (address == nullptr) {
    // The base destructor unloads the library as the exception leaves the constructor.
    const char* why = last_error();
    fail(status_usage, "Can't get function '%s' from library '%s' (%s)\n", function_name, name.c_str(), why);
  }
  function = reinterpret_cast<F*>(address);
}

d2xx_library::d2xx_library(const char* file) : dyn_library(file) {
  resolve(FT_Open, "FT_Open");
  resolve(FT_OpenEx, "FT_OpenEx");
  resolve(FT_ListDevices, "FT_ListDevices");
  resolve(FT_Close, "FT_Close");
  resolve(FT_Read, "FT_Read");
  resolve(FT_Write, "FT_Write");
  resolve(FT_SetBaudRate, "FT_SetBaudRate");
  resolve(FT_SetDivisor, "FT_SetDivisor");
  resolve(FT_Purge, "FT_Purge");
  resolve(FT_SetTimeouts, "FT_SetTimeouts");
  resolve(FT_GetQueueStatus, "FT_GetQueueStatus");
  resolve(FT_GetStatus, "FT_GetStatus");
  resolve(FT_SetLatencyTimer, "FT_SetLatencyTimer");
  resolve(FT_GetLatencyTimer, "FT_GetLatencyTimer");
  resolve(FT_SetBitMode, "FT_SetBitMode");
  resolve(FT_SetUSBParameters, "FT_SetUSBParameters");
  resolve(FT_GetDeviceInfo, "FT_GetDeviceInfo");
  resolve(FT_CreateDeviceInfoList, "FT_CreateDeviceInfoList");
  resolve(FT_GetDeviceInfoList, "FT_GetDeviceInfoList");
  resolve(FT_GetDeviceInfoDetail, "FT_GetDeviceInfoDetail");
  resolve(FT_GetDriverVersion, "FT_GetDriverVersion");
  resolve(FT_GetLibraryVersion, "FT_GetLibraryVersion");
  resolve(FT_SetVIDPID, "FT_SetVIDPID");

  report(3, "\t%% '%s' successfully loaded", name.c_str());
  library_version = 0;
  DWORD version = 0;
  if (FT_GetLibraryVersion(&version) == FT_OK) {
    library_version = version;
    report(3, ", version %X.%X.%X", (version >> 16) & 0xFF, (version >> 8) & 0xFF, version & 0xFF);
  }
  report(3, "%c", '\n');
}

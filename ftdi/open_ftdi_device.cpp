#include "ftdi/open_ftdi_device.h"

#include <cstring>

#include "driver/messages.h"
#include "driver/privileges.h"
#include "ftdi/d2xx_device.h"
#include "ftdi/ft_status.h"

bool mpsse_channel_allowed(uint32_t type, char channel) {
  switch (type) {
    case FT_DEVICE_2232C: return channel == 'A';
    case FT_DEVICE_4232H: return channel == 'A' || channel == 'B';
    default: return channel != '\0';  // a channel without a description has no letter
  }
}

namespace {

const char* or_any(const char* text) { return text[0] != '\0' ? text : "any"; }

void print_device(const char* label, const ftdi_device_request& wanted) {
  report(0, "%s%s  %s (0x%llX) - \"%s\", serno \"%s\"\n", "", label, ft_device_type_name(wanted.type),
         static_cast<unsigned long long>(wanted.type), or_any(wanted.description), or_any(wanted.serial_number));
}

bool matches(const ftdi_device_request& request, const ftdi_device_request& found) {
  if (found.type != request.type) return false;
  if (request.serial_number[0] != '\0' && strcmp(request.serial_number, found.serial_number) != 0) return false;
  if (request.description[0] != '\0' && strcmp(request.description, found.description) != 0) return false;
  return true;
}

// How FT_OpenEx finds the device: by serial number when one is given, else by description.
struct open_key {
  const char* text;
  DWORD flag;
  const char* words;  // for the message when the device cannot be opened
};

open_key open_key_of(const ftdi_device_request& request) {
  if (request.serial_number[0] != '\0') return {request.serial_number, FT_OPEN_BY_SERIAL_NUMBER, "serial number"};
  if (request.description[0] != '\0') return {request.description, FT_OPEN_BY_DESCRIPTION, "description"};
  fail(status_usage, "Description and/or serial number must be set for FTDI device opening\n");
}

// The opened device's type, ids, serial number and description; closes it on failure.
ftdi_device_request opened_device_info(d2xx_library& library, FT_HANDLE handle) {
  ftdi_device_request found;
  FT_DEVICE type = 0;
  DWORD id = 0;
  const FT_STATUS status =
      library.FT_GetDeviceInfo(handle, &type, &id, found.serial_number, found.description, nullptr);
  if (status != FT_OK) {
    library.FT_Close(handle);
    fail(status_usage, "Can't get FTDI device information (%s)\n", ft_status_name(status));
  }
  found.serial_number[sizeof found.serial_number - 1] = '\0';
  found.description[sizeof found.description - 1] = '\0';
  found.type = type;
  found.vid = id >> 16;
  found.pid = id & 0xFFFF;
  return found;
}

// The opened device must be the one asked for, on a channel with an MPSSE; closes it otherwise.
void check_usable(d2xx_library& library, FT_HANDLE handle, const ftdi_device_request& request,
                  const ftdi_device_request& found) {
  if (!matches(request, found)) {
    library.FT_Close(handle);
    report(0, "Can't use opened FTDI device (some of parameters not match)\n");
    print_device("Requested", request);
    print_device("Found    ", found);
    throw app_error(status_usage);
  }
  const size_t length = strlen(found.description);
  const char channel = length > 0 ? found.description[length - 1] : '\0';
  if (!mpsse_channel_allowed(found.type, channel)) {
    library.FT_Close(handle);
    fail(status_usage, "Channel %c can't be used for MPSSE mode\n", channel != '\0' ? channel : '?');
  }
}

}  // namespace

std::unique_ptr<ftdi_device> open_ftdi_device(const ftdi_device_request& request, const char* library_file) {
  const open_key key = open_key_of(request);

  // Loaded and opened with the installed rights, which are then given up for good.
  std::unique_ptr<d2xx_library> library;
  FT_HANDLE handle = nullptr;
  FT_STATUS status = FT_OK;
  bool opened = false;
  open_hardware(
      [&] {
        regain_privileges();
        library = std::make_unique<d2xx_library>(library_file);
        if (request.vid != 0) library->FT_SetVIDPID(request.vid, request.pid);  // the status does not matter
        status = library->FT_OpenEx(const_cast<char*>(key.text), key.flag, &handle);
        opened = status == FT_OK;
      },
      [&] {
        if (opened) library->FT_Close(handle);
      });
  if (status != FT_OK)
    fail(status_usage, "Can't open FTDI device with %s \"%s\" (%s)\n", key.words, key.text, ft_status_name(status));

  DWORD version = 0;
  if (library->FT_GetDriverVersion(handle, &version) == FT_OK)
    report(3, "\t%% FTDI driver version %X.%X.%X\n", (version >> 16) & 0xFF, (version >> 8) & 0xFF, version & 0xFF);

  const ftdi_device_request found = opened_device_info(*library, handle);
  check_usable(*library, handle, request, found);
  return std::make_unique<d2xx_device>(found.type, std::move(library), handle);
}

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

}  // namespace

std::unique_ptr<ftdi_device> open_ftdi_device(const ftdi_device_request& request, const char* library_file) {
  const char* open_text;
  DWORD open_flag;
  const char* open_words;
  if (request.serial_number[0] != '\0') {
    open_text = request.serial_number;
    open_flag = FT_OPEN_BY_SERIAL_NUMBER;
    open_words = "serial number";
  } else if (request.description[0] != '\0') {
    open_text = request.description;
    open_flag = FT_OPEN_BY_DESCRIPTION;
    open_words = "description";
  } else {
    fail(status_usage, "Description and/or serial number must be set for FTDI device opening\n");
  }

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
        status = library->FT_OpenEx(const_cast<char*>(open_text), open_flag, &handle);
        opened = status == FT_OK;
      },
      [&] {
        if (opened) library->FT_Close(handle);
      });
  if (status != FT_OK)
    fail(status_usage, "Can't open FTDI device with %s \"%s\" (%s)\n", open_words, open_text, ft_status_name(status));

  DWORD version = 0;
  if (library->FT_GetDriverVersion(handle, &version) == FT_OK)
    report(3, "\t%% FTDI driver version %X.%X.%X\n", (version >> 16) & 0xFF, (version >> 8) & 0xFF, version & 0xFF);

  ftdi_device_request found;
  FT_DEVICE type = 0;
  DWORD id = 0;
  status = library->FT_GetDeviceInfo(handle, &type, &id, found.serial_number, found.description, nullptr);
  if (status != FT_OK) {
    library->FT_Close(handle);
    fail(status_usage, "Can't get FTDI device information (%s)\n", ft_status_name(status));
  }
  found.serial_number[sizeof found.serial_number - 1] = '\0';
  found.description[sizeof found.description - 1] = '\0';
  found.type = type;
  found.vid = id >> 16;
  found.pid = id & 0xFFFF;

  if (!matches(request, found)) {
    library->FT_Close(handle);
    report(0, "Can't use opened FTDI device (some of parameters not match)\n");
    print_device("Requested", request);
    print_device("Found    ", found);
    throw app_error(status_usage);
  }

  size_t length = strlen(found.description);
  char channel = length > 0 ? found.description[length - 1] : '\0';
  if (!mpsse_channel_allowed(type, channel)) {
    library->FT_Close(handle);
    fail(status_usage, "Channel %c can't be used for MPSSE mode\n", channel != '\0' ? channel : '?');
  }

  return std::make_unique<d2xx_device>(type, std::move(library), handle);
}

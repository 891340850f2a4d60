#include "ftdi/list_ftdi_devices.h"

#include <cstring>
#include <memory>
#include <vector>

#include "driver/messages.h"
#include "driver/privileges.h"
#include "ftdi/ft_status.h"

void list_ftdi_devices(const char* library_file) {
  std::unique_ptr<d2xx_library> library;
  DWORD count = 0;
  std::vector<FT_DEVICE_LIST_INFO_NODE> nodes;
  DWORD listed = 0;
  // The devices are listed with the installed rights, which are then given up for good.
  open_hardware(
      [&] {
        regain_privileges();
        library = std::make_unique<d2xx_library>(library_file);
        FT_STATUS status = library->FT_CreateDeviceInfoList(&count);
        if (status != FT_OK) fail(status_usage, "Can't get number of FTDI devices (%s)\n", ft_status_name(status));
        if (count == 0) fail(status_usage, "No FTDI devices found\n");
        report(2, "%ld FTDI devices detected\n", static_cast<long>(count));

        nodes.resize(count);
        listed = count;
        status = library->FT_GetDeviceInfoList(nodes.data(), &listed);
        if (status != FT_OK) fail(status_usage, "Can't get FTDI device list (%s)\n", ft_status_name(status));
      },
      [] {});

  if (listed > count) listed = count;  // never beyond the array
  for (DWORD i = 0; i < listed; ++i) {
    const FT_DEVICE_LIST_INFO_NODE& node = nodes[i];
    // The library's fields are not guaranteed to be terminated within their size.
    char description[sizeof node.Description + 1] = {};
    char serial_number[sizeof node.SerialNumber + 1] = {};
    memcpy(description, node.Description, sizeof node.Description);
    memcpy(serial_number, node.SerialNumber, sizeof node.SerialNumber);
    report(2, "%2ld: %s (0x%llX) - \"%s\", serno \"%s\"\n", static_cast<long>(i), ft_device_type_name(node.Type),
           static_cast<unsigned long long>(node.Type), description, serial_number);
  }
}

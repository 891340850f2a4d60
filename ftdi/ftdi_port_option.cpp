#include "ftdi/ftdi_port_option.h"

#include <cstdlib>
#include <cstring>

#include "driver/messages.h"
#include "ftdi/list_ftdi_devices.h"

const char* default_ftdi_description(uint32_t type) {
  switch (type) {
    case 6: return "Dual RS232-HS A";
    case 7: return "Quad RS232-HS A";
    default: return "Dual RS232 A";
  }
}

namespace {

const size_t longest_item = 66;  // "d=" and a description of 64 characters
const size_t longest_serial_item = 18;  // "s=" and a serial number of 16 characters

// A hexadecimal number ("0x" allowed); text that is not a number leaves the value.
void read_hex(const char* text, uint32_t& value) {
  char* end = nullptr;
  unsigned long number = strtoul(text, &end, 16);
  if (end != text) value = static_cast<uint32_t>(number);
}

void parse_item(const char* item, ftdi_device_request& request) {
  size_t length = strlen(item);
  if (length < 3 || item[1] != '=') fail(status_usage, "Invalid FT2232 option '%s'\n", item);
  const char* value = item + 2;
  switch (item[0]) {
    case 'v': read_hex(value, request.vid); break;
    case 'p': read_hex(value, request.pid); break;
    case 's':
      if (length > longest_serial_item) fail(status_usage, "Serial number too long: '%s'\n", item);
      strcpy(request.serial_number, value);
      break;
    case 'd': strcpy(request.description, value); break;
    default: fail(status_usage, "Invalid FT2232 option '%s'\n", item);
  }
}

}  // namespace

void parse_ftdi_port_option(const char* port_text, ftdi_device_request& request) {
  request.vid = 0;
  request.pid = 0;
  request.serial_number[0] = '\0';
  request.description[0] = '\0';

  if (port_text == nullptr) {
    strcpy(request.description, default_ftdi_description(request.type));
    report(3, "No FTDI \"port\" switch found\ndevice with default description \"%s\" will be used\n",
           request.description);
    return;
  }
  if (port_text[0] == '?') {
    list_ftdi_devices();
    throw app_error(status_ok);
  }

  const char* item = port_text;
  for (;;) {
    const char* comma = strchr(item, ',');
    size_t length = comma != nullptr ? static_cast<size_t>(comma - item) : strlen(item);
    if (length > longest_item) fail(status_usage, "Option too long: '%.*s'\n", static_cast<int>(length), item);
    char text[longest_item + 1];
    memcpy(text, item, length);
    text[length] = '\0';
    parse_item(text, request);
    if (comma == nullptr) break;
    item = comma + 1;
  }

  if ((request.vid == 0) != (request.pid == 0)) fail(status_usage, "Both VID and PID must be set\n");
}

#include "ftdi/ft_status.h"

#include "driver/messages.h"
#include "ftdi/d2xx_api.h"

namespace {

const char* const status_names[] = {
    "FT_OK",
    "FT_INVALID_HANDLE",
    "FT_DEVICE_NOT_FOUND",
    "FT_DEVICE_NOT_OPENED",
    "FT_IO_ERROR",
    "FT_INSUFFICIENT_RESOURCES",
    "FT_INVALID_PARAMETER",
    "FT_INVALID_BAUD_RATE",
    "FT_DEVICE_NOT_OPENED_FOR_ERASE",
    "FT_DEVICE_NOT_OPENED_FOR_WRITE",
    "FT_FAILED_TO_WRITE_DEVICE",
    "FT_EEPROM_READ_FAILED",
    "FT_EEPROM_WRITE_FAILED",
    "FT_EEPROM_ERASE_FAILED",
    "FT_EEPROM_NOT_PRESENT",
    "FT_EEPROM_NOT_PROGRAMMED",
    "FT_INVALID_ARGS",
    "FT_NOT_SUPPORTED",
    "FT_OTHER_ERROR",
    "FT_DEVICE_LIST_NOT_READY",
};

const char* const device_type_names[] = {
    "FT_DEVICE_BM",    "FT_DEVICE_AM",    "FT_DEVICE_100AX", "FT_DEVICE_UNKNOWN",
    "FT_DEVICE_2232C", "FT_DEVICE_232R",  "FT_DEVICE_2232H", "FT_DEVICE_4232H",
};

}  // namespace

const char* ft_status_name(uint32_t status) {
  if (status >= sizeof status_names / sizeof status_names[0]) return "TOO HIGH ERROR CODE";
  return status_names[status];
}

const char* ft_device_type_name(uint32_t type) {
  if (type >= sizeof device_type_names / sizeof device_type_names[0]) return "TOO HIGH TYPE CODE";
  return device_type_names[type];
}

void check_ft_status(uint32_t status, const char* operation_words, bool short_transfer) {
  if (status != FT_OK) fail(status_usage, "Can't %s (%s)\n", operation_words, ft_status_name(status));
  if (short_transfer) fail(status_usage, "Can't %s\n", operation_words);
}

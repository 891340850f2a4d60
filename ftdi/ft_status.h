// Names of D2XX status codes and device types, and the check that turns a
// failed D2XX call into a message and app_error 70. Used by every D2XX call.
#pragma once

#include <cstdint>

const char* ft_status_name(uint32_t status);      // "FT_OK" ... or "TOO HIGH ERROR CODE"
const char* ft_device_type_name(uint32_t type);   // "FT_DEVICE_BM" ... or "TOO HIGH TYPE CODE"

// A status other than FT_OK prints "Can't <words> (<status name>)"; with a good
// status, short_transfer true prints "Can't <words>". Both throw app_error 70.
void check_ft_status(uint32_t status, const char* operation_words, bool short_transfer);

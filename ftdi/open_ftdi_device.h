// Opening the FTDI channel the user asked for: by serial number or
// description, checked against the request and the MPSSE channel rules.
// Called by the MPSSE adapter factory.
#pragma once

#include <memory>

#include "ftdi/d2xx_library.h"
#include "ftdi/ftdi_device.h"
#include "ftdi/ftdi_device_request.h"

// Returns the opened channel (a d2xx_device owning the loaded library).
// Every failure prints its message, closes what was opened, unloads the
// library and throws app_error 70. The library is loaded and the channel
// opened with the installed rights of a set-uid install, which are dropped
// for good right after FT_OpenEx. library_file is for tests.
std::unique_ptr<ftdi_device> open_ftdi_device(const ftdi_device_request& request,
                                              const char* library_file = d2xx_library_file);

// May a channel of this chip type run the MPSSE engine? The letter is the
// last character of the channel's description.
bool mpsse_channel_allowed(uint32_t type, char channel);

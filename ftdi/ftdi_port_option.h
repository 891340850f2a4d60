// The -p value of the FTDI adapters, "v=VID,p=PID,s=SERNO,d=DESCRIPTION" or
// "?" (list the devices and end the run). Called by the adapter factory.
#pragma once

#include "ftdi/ftdi_device_request.h"

// Fills vid, pid, serial_number and description of the request (its type is
// already set). port_text null: the default description of the type. Errors
// print their message and throw app_error 70; "?" lists the devices and
// throws app_error 0.
void parse_ftdi_port_option(const char* port_text, ftdi_device_request& request);

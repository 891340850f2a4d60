// The "-p?" listing: every FTDI channel on the bus with its type, description
// and serial number. Loads the D2XX library for the listing only.
#pragma once

#include "ftdi/d2xx_library.h"

// Prints the list at level 2; no device or a failed D2XX call prints its
// message and throws app_error 70. The D2XX calls run with the installed
// rights of a set-uid install, dropped for good before the list is printed.
// library_file is for tests.
void list_ftdi_devices(const char* library_file = d2xx_library_file);

// Building the one adapter of the process from the -a and -p values: FTDI
// names go to the FTDI factory, everything else is a parallel-port adapter.
#pragma once

void create_adapter(const char* adapter_text, const char* port_text);

// Building the one adapter of the process from the -a and -p values: FTDI
// names go to the FTDI factory, everything else is a parallel-port adapter.
#pragma once

#include "adapter/adapter_options.h"

// Builds the adapter completely, then stores it in current_adapter (the one
// held before is destroyed then). Either value may be null.
void create_adapter(const char* adapter_text, const char* port_text, const adapter_options& options);

// "ft2232..." or "ft4232h..." in any case.
bool is_ftdi_adapter_name(const char* adapter_text);

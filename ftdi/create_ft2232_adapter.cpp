#include "ftdi/create_ft2232_adapter.h"

#include "driver/messages.h"

// First cut: the MPSSE adapter is being connected; until then the FTDI names
// are refused with an adapter error.
std::unique_ptr<spi_adapter> create_ft2232_adapter(const char*, const char*) {
  fail(status_usage, "FT2232/FT4232 adapters are not available in this build\n");
}

#include "lpt/create_adapter.h"

#include <strings.h>

#include "adapter/spi_adapter.h"
#include "ftdi/create_ft2232_adapter.h"
#include "lpt/create_lpt_adapter.h"

bool is_ftdi_adapter_name(const char* adapter_text) {
  return adapter_text != nullptr &&
         (strncasecmp(adapter_text, "ft2232", 6) == 0 || strncasecmp(adapter_text, "ft4232h", 7) == 0);
}

void create_adapter(const char* adapter_text, const char* port_text, const adapter_options& options) {
  std::unique_ptr<spi_adapter> fresh = is_ftdi_adapter_name(adapter_text)
                                           ? create_ft2232_adapter(adapter_text, port_text, options)
                                           : create_lpt_adapter(adapter_text, port_text, options);
  current_adapter.replace(std::move(fresh));
}

#include "lpt/create_adapter.h"

#include "driver/messages.h"

void create_adapter(const char*, const char*) {
  fail(status_usage, "No programming adapter is available in this build\n");
}

#include "driver/adapter_key.h"

#include "adapter/spi_adapter.h"
#include "driver/messages.h"
#include "driver/signals.h"
#include "driver/timer.h"

namespace {
constexpr float key_sample_ms = 20;
}

bool read_key_stable() {
  bool prev = current_adapter->key_pressed();
  bool equal_once = false;
  timer wait;
  for (;;) {
    check_terminated();
    wait.set_delay_ms(key_sample_ms);
    wait.sleep_delay();
    const bool cur = current_adapter->key_pressed();
    if (cur == prev) {
      if (equal_once) return cur;
      equal_once = true;
    } else {
      equal_once = false;
    }
    prev = cur;
  }
}

void wait_adapter_key() {
  if (!current_adapter->has_key()) fail(status_usage, "Key not defined for given adapter, can't process -k switch\n");
  report(1, "Press ADAPTER KEY for continue.\n");
  while (read_key_stable()) {
  }
  while (!read_key_stable()) {
  }
  report(2, "Start programming...\n");
}

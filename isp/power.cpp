#include "isp/power.h"

#include "adapter/spi_adapter.h"
#include "driver/messages.h"
#include "driver/timer.h"
#include "isp/isp_chip.h"

namespace {
constexpr float power_settle_ms = 300;

void wait_power_settle() {
  timer t;
  t.set_delay_ms(power_settle_ms);
  t.sleep_delay();
}
}  // namespace

void power_up() {
  if (current_adapter->has_power()) {
    current_adapter->power_on();
    wait_power_settle();
    report(2, "Power ON\n");
  }
  if (current_adapter->has_enable()) {
    current_adapter->enable_on();
    report(2, "Adapter enabled\n");
  }
  current_adapter->set_led_error(false);
  current_adapter->set_led_ok(false);
  isp_chip.powered = true;
}

void power_down() {
  if (!isp_chip.powered || !current_adapter) return;
  isp_chip.powered = false;
  current_adapter->set_reset(false);
  report(2, "Reset pin released\n");
  if (current_adapter->has_enable()) {
    current_adapter->enable_off();
    report(2, "Adapter disabled\n");
  }
  if (current_adapter->has_power()) {
    current_adapter->power_off();
    wait_power_settle();
    report(2, "Power OFF\n");
  }
}

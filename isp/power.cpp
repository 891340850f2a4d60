#include "isp/power.h"

#include "adapter/spi_adapter.h"
#include "isp/isp_chip.h"

isp_chip_state isp_chip;

void power_up() { isp_chip.powered = true; }

void power_down() {
  if (!isp_chip.powered || !current_adapter) return;
  isp_chip.powered = false;
  current_adapter->set_reset(false);
}

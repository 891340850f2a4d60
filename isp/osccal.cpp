#include "isp/osccal.h"

#include "devices/chip_desc.h"
#include "driver/signals.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/isp_exchange.h"

void read_osccal() {
  const int count = current_chip().osccal_count;
  for (int i = 0; i < count && i < 4; ++i) {
    isp_chip.osccal[i] = isp_exchange(0x38, 0x00, uint8_t(i), 0x00, "Read Osccal", 4);
    check_terminated();
  }
}

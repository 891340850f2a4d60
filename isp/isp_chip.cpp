#include "isp/isp_chip.h"

#include "driver/process_state.h"
#include "isp/memory_write.h"

namespace {
isp_chip_state initial_chip_state() {
  isp_chip_state s;
  s.writer[0] = write_byte;
  s.writer[1] = write_byte;
  return s;
}
}  // namespace

isp_chip_state isp_chip = initial_chip_state();
const process_state_reset reset_isp_chip{[] { isp_chip = initial_chip_state(); }};

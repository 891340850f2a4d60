#include "isp/chip_timing.h"

#include "devices/chip_desc.h"
#include "isp/current_chip.h"
#include "isp/isp_chip.h"
#include "isp/memory_write.h"

void apply_chip_timing(float factor) {
  const chip_desc& chip = current_chip();
  if (chip.flash_page_size != 0) {
    isp_chip.paged_flash = true;
    isp_chip.page_mask = uint32_t(chip.flash_page_size - 1);
    isp_chip.writer[0] = page_write_byte;
    isp_chip.flash_byte_delay = 0;
    isp_chip.flash_page_delay = float(chip.flash_write_delay) * factor;
  } else {
    isp_chip.paged_flash = false;
    isp_chip.writer[0] = write_byte;
    isp_chip.writer[1] = write_byte;
    isp_chip.flash_byte_delay = float(chip.flash_write_delay) * factor;
    isp_chip.flash_page_delay = 0;
  }
  isp_chip.eeprom_delay = float(chip.eeprom_write_delay) * factor;
  isp_chip.erase_wait = float(chip.erase_delay) * factor;
}

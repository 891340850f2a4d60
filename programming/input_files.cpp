#include "programming/input_files.h"

#include "driver/settings.h"
#include "image/flash_overflow.h"
#include "image/hex_file.h"
#include "image/memory_images.h"
#include "isp/current_chip.h"

void load_input_files() {
  if ((settings.write_flags & write_flag_write) != 0 || settings.verify) {
    if (settings.code_file != nullptr) hex_read(code_image, settings.code_file);
    if (settings.data_file != nullptr) hex_read(data_image, settings.data_file);
  }
  // A run without a chip only lists devices: there is no FLASH size to split at.
  if (settings.split_code_file && !code_image.empty() && current_chip_index() >= 0)
    move_flash_overflow(code_image, data_image, flash_size());
}

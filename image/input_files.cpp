#include "image/input_files.h"

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "image/hex_file.h"
#include "image/memory_images.h"

void move_flash_overflow(mem_image& code, mem_image& data, int32_t flash_bytes) {
  const data_block* top = code.last();
  if (top == nullptr || flash_bytes > top->end()) return;
  data_block* block = code.find_if([&](const data_block* b) { return b->end() >= flash_bytes; });
  while (block != nullptr) {
    data_block* following = code.next(block);
    // Overlapping blocks sorted behind a long one may still end below the
    // limit: they stay where they are.
    if (block->end() >= flash_bytes) {
      data_block* moved;
      if (block->address < flash_bytes) {
        const int32_t kept = flash_bytes - block->address;
        code.insert_after(block, new data_block(block->address, kept, block->bytes));
        moved = new data_block(0, block->size - kept, block->bytes + kept);
      } else {
        moved = new data_block(block->address - flash_bytes, block->size, block->bytes);
      }
      data.append(moved);
      code.erase(block);
    }
    block = following;
  }
}

void load_input_files() {
  if ((settings.write_flags & write_flag_write) != 0 || settings.verify) {
    if (settings.code_file != nullptr) hex_read(code_image, settings.code_file);
    if (settings.data_file != nullptr) hex_read(data_image, settings.data_file);
  }
  // A run without a chip only lists devices: there is no FLASH size to split at.
  if (settings.split_code_file && !code_image.empty() && current_chip_index() >= 0)
    move_flash_overflow(code_image, data_image, flash_size());
}

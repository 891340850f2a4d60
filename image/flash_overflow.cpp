#include "image/flash_overflow.h"

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

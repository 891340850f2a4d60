// The image's circular block list: order, first and last, ownership of the blocks.
#include "image/mem_image.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

int destroyed = 0;
const uint8_t fill = 0xA5;
struct counted_block : data_block {  // counts its destruction through the virtual destructor
  explicit counted_block(int32_t address) : data_block(address, 1, &fill) {}
  ~counted_block() override { ++destroyed; }
};

std::vector<int32_t> addresses(const mem_image& image) {
  std::vector<int32_t> out;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) out.push_back(b->address);
  return out;
}

TEST(MemImage, ListOperationsKeepOrderAndDestroyOnlyOwnedBlocks) {
  destroyed = 0;
  {
    mem_image image;
    counted_block outsider(99);
    EXPECT_EQ(image.remove(&outsider), nullptr);
    for (int i = 0; i < 6; ++i) image.append(new counted_block(i * 10));
    image.insert_after(image.last(), new counted_block(60));  // behind the last: becomes last
    EXPECT_EQ(image.last()->address, 60);
    EXPECT_EQ(image.last()->next, image.first());  // circular
    image.erase(&outsider);  // not in the image: not destroyed by it
    EXPECT_EQ(destroyed, 0);
    image.erase(image.last());  // its predecessor becomes last
    image.erase(image.first());
    int calls = 0;
    image.for_each([](data_block* b, void* n) { *static_cast<int*>(n) += b->address; }, &calls);
    EXPECT_EQ(calls, 10 + 20 + 30 + 40 + 50);
    image.for_each([&](data_block* b) {  // may destroy the block it is given
      if (b->address % 20 == 0) image.erase(b);
    });
    EXPECT_EQ(addresses(image), (std::vector<int32_t>{10, 30, 50}));
    EXPECT_EQ(destroyed, 4);
    int32_t wanted = 30;
    auto at = [](const data_block* b, void* w) { return b->address >= *static_cast<int32_t*>(w); };
    EXPECT_EQ(image.find_if(at, &wanted), image.next(image.first()));
    image.clear();
    EXPECT_EQ(image.count(), 0);
    EXPECT_EQ(destroyed, 7);
    image.append(new counted_block(7));
    EXPECT_EQ(image.next(image.first()), nullptr);
  }
  EXPECT_EQ(destroyed, 9);  // the image's last block and the outsider
}

TEST(DataBlock, CopiesTheCallersBytes) {
  uint8_t source[3] = {7, 8, 9};
  data_block block(0x1FFFE, 3, source), empty(0, 0, nullptr);
  source[0] = 0;
  EXPECT_EQ(block.bytes[0], 7);
  EXPECT_EQ(block.bytes[2], 9);
}

}  // namespace

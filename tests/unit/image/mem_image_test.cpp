// The image's circular block list: order, first and last, ownership.
#include "image/mem_image.h"

#include <gtest/gtest.h>

namespace {

int destroyed = 0;
const uint8_t fill = 0xA5;
struct counted_block : data_block {  // counts its destruction through the virtual destructor
  explicit counted_block(int32_t address) : data_block(address, 1, &fill) {}
  ~counted_block() override { ++destroyed; }
};

TEST(MemImage, ListOperationsKeepOrderAndDestroyOnlyOwnedBlocks) {
  destroyed = 0;
  {
    mem_image image;
    counted_block outsider(99);
    for (int i = 0; i < 6; ++i) image.append(new counted_block(i * 10));
    image.insert_after(image.last(), new counted_block(60));  // behind the last: becomes last
    EXPECT_EQ(image.last()->next, image.first());             // circular
    EXPECT_EQ(image.remove(&outsider), nullptr);
    image.erase(image.last());  // its predecessor becomes last
    int sum = 0;
    image.for_each([](data_block* b, void* n) { *static_cast<int*>(n) += b->address; }, &sum);
    EXPECT_EQ(sum, 10 + 20 + 30 + 40 + 50);
    image.for_each([&](data_block* b) {  // may destroy the block it is given
      if (b->address % 20 == 0) image.erase(b);
    });
    EXPECT_EQ(image.last()->address, 50);
    int32_t wanted = 30;
    auto at = [](const data_block* b, void* w) { return b->address >= *static_cast<int32_t*>(w); };
    EXPECT_EQ(image.find_if(at, &wanted), image.next(image.first()));
    wanted = 51;
    EXPECT_EQ(image.find_if(at, &wanted), nullptr);
    EXPECT_EQ(destroyed, 4);
  }
  EXPECT_EQ(destroyed, 8);  // the image's three blocks and the outsider
}

}  // namespace

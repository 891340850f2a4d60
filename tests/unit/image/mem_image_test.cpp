// The image's circular block list: order, first and last, ownership; a block allocates exactly its bytes.
#include "image/mem_image.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vector>

namespace {

int destroyed = 0;
const uint8_t fill = 0xA5;
struct counted_block : data_block {  // counts its destruction through the virtual destructor
  explicit counted_block(int32_t address) : data_block(address, 1, &fill) {}
  ~counted_block() override { ++destroyed; }
};

bool watching = false;
std::vector<size_t> array_sizes;  // the sizes asked of new[] while watching

}  // namespace

void* operator new[](size_t size) {
  if (watching) array_sizes.push_back(size);
  if (void* p = std::malloc(size > 0 ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

namespace {

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

TEST(DataBlock, AllocatesExactlyItsSize) {
  uint8_t source[3] = {7, 8, 9};
  array_sizes.clear();
  watching = true;
  data_block one(0x1FFFE, 1, source), three(0, 3, source), empty(0, 0, nullptr), negative(0, -1, nullptr);
  watching = false;
  EXPECT_EQ(array_sizes, (std::vector<size_t>{1, 3, 0, 0}));
  EXPECT_EQ(three.bytes[2], 9);
}

}  // namespace

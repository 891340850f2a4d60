#include "image/mem_image.h"

#include <gtest/gtest.h>

#include <vector>

#include "image/memory_images.h"

namespace {

// A block that counts its destruction, to see the image destroy through the
// virtual destructor exactly the blocks it owns.
int destroyed = 0;
struct counted_block : data_block {
  explicit counted_block(int32_t address) : data_block(address, 1, &fill) {}
  ~counted_block() override { ++destroyed; }
  static const uint8_t fill;
};
const uint8_t counted_block::fill = 0xA5;

std::vector<int32_t> addresses(const mem_image& image) {
  std::vector<int32_t> out;
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) out.push_back(b->address);
  return out;
}

TEST(MemImage, EmptyImageHasNothing) {
  mem_image image;
  int calls = 0;
  EXPECT_EQ(image.first(), nullptr);
  EXPECT_EQ(image.last(), nullptr);
  EXPECT_EQ(image.count(), 0);
  image.for_each([](data_block*, void* arg) { ++*static_cast<int*>(arg); }, &calls);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(image.find_if([](const data_block*, void*) { return true; }, nullptr), nullptr);
  data_block stranger(0, 1, &counted_block::fill);
  EXPECT_EQ(image.remove(&stranger), nullptr);
}

TEST(MemImage, OneNodeListPointsAtItselfButNextStops) {
  mem_image image;
  auto* only = new data_block(0x100, 1, &counted_block::fill);
  image.append(only);
  EXPECT_EQ(only->next, only);
  EXPECT_EQ(image.first(), only);
  EXPECT_EQ(image.last(), only);
  EXPECT_EQ(image.next(only), nullptr);
  EXPECT_EQ(image.count(), 1);
  EXPECT_EQ(image.remove(only), only);
  EXPECT_EQ(only->next, nullptr);
  EXPECT_EQ(image.first(), nullptr);
  EXPECT_EQ(image.last(), nullptr);
  EXPECT_EQ(image.count(), 0);
  delete only;
}

TEST(MemImage, AppendInsertRemoveKeepOrderAndLast) {
  mem_image image;
  auto* a = new data_block(10, 1, &counted_block::fill);
  auto* b = new data_block(20, 1, &counted_block::fill);
  auto* c = new data_block(30, 1, &counted_block::fill);
  image.append(a);
  image.append(c);
  image.insert_after(a, b);
  EXPECT_EQ(addresses(image), (std::vector<int32_t>{10, 20, 30}));
  EXPECT_EQ(image.last(), c);
  EXPECT_EQ(c->next, a);  // circular: the last node leads to the first

  auto* d = new data_block(40, 1, &counted_block::fill);
  image.insert_after(c, d);  // behind the last: becomes last, first unchanged
  EXPECT_EQ(image.last(), d);
  EXPECT_EQ(image.first(), a);

  // Removing last makes its predecessor last; removing first moves first on.
  EXPECT_EQ(image.remove(d), d);
  EXPECT_EQ(image.last(), c);
  EXPECT_EQ(image.remove(a), a);
  EXPECT_EQ(image.first(), b);
  EXPECT_EQ(addresses(image), (std::vector<int32_t>{20, 30}));
  EXPECT_EQ(image.remove(a), nullptr);  // no longer in the image: unchanged
  EXPECT_EQ(image.count(), 2);
  delete a;
  delete d;
}

TEST(MemImage, EraseClearAndDestructorDestroyOwnedBlocks) {
  destroyed = 0;
  {
    mem_image image;
    for (int i = 0; i < 5; ++i) image.append(new counted_block(i));
    data_block* third = image.find_if([](const data_block* b) { return b->address == 2; });
    ASSERT_NE(third, nullptr);
    image.erase(third);
    EXPECT_EQ(destroyed, 1);
    counted_block outsider(99);
    image.erase(&outsider);  // not in the image: not destroyed by it
    EXPECT_EQ(destroyed, 1);
    image.clear();
    EXPECT_EQ(destroyed, 1 + 4);  // the outsider is destroyed at scope end
    EXPECT_EQ(image.count(), 0);
    image.append(new counted_block(7));
  }
  EXPECT_EQ(destroyed, 1 + 4 + 2);  // the outsider and the image's last block
}

TEST(MemImage, ForEachMayDestroyTheBlockItIsGiven) {
  mem_image image;
  for (int i = 0; i < 6; ++i) image.append(new data_block(i, 1, &counted_block::fill));
  std::vector<int32_t> seen;
  image.for_each([&](data_block* b) {
    seen.push_back(b->address);
    if (b->address % 2 == 0) image.erase(b);
  });
  EXPECT_EQ(seen, (std::vector<int32_t>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(addresses(image), (std::vector<int32_t>{1, 3, 5}));
}

TEST(MemImage, FindIfReturnsFirstMatchInListOrder) {
  mem_image image;
  const uint8_t bytes[4] = {1, 2, 3, 4};
  image.append(new data_block(0x10, 4, bytes));
  image.append(new data_block(0x12, 4, bytes));
  int32_t wanted = 0x13;
  auto holds = [](const data_block* b, void* arg) { return b->contains(*static_cast<int32_t*>(arg)); };
  data_block* found = image.find_if(holds, &wanted);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->address, 0x10);
  EXPECT_EQ(found->get_byte(0x13), 4);
  found->set_byte(0x11, 0xEE);
  EXPECT_EQ(found->bytes[1], 0xEE);
  wanted = 0x16;
  EXPECT_EQ(image.find_if(holds, &wanted), nullptr);
}

TEST(DataBlock, CopiesTheCallersBytesAndKnowsItsEnd) {
  uint8_t source[3] = {7, 8, 9};
  data_block block(0x1FFFE, 3, source);
  source[0] = 0;
  EXPECT_EQ(block.bytes[0], 7);
  EXPECT_EQ(block.end(), 0x20000);
  EXPECT_TRUE(block.contains(0x20000));
  EXPECT_FALSE(block.contains(0x20001));
  EXPECT_FALSE(block.contains(0x1FFFD));
}

TEST(MemoryImages, CodeAndDataAreTheTwoKinds) {
  EXPECT_EQ(&code_image, &memory_images[mem_code]);
  EXPECT_EQ(&data_image, &memory_images[mem_data]);
  EXPECT_NE(&code_image, &data_image);
}

}  // namespace

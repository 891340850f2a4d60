// FLASH overflow of a single input file moved into the data image, at the boundaries of the FLASH size.
#include "image/flash_overflow.h"

#include <gtest/gtest.h>

#include "image_test_support.h"

namespace {

using namespace image_test;

TEST(FlashOverflow, MovesEverythingFromTheLimitOnToTheDataImage) {
  const struct {
    layout code, code_after, data_after;
  } cases[] = {
      {{{0, 0x10}, {0x2000, 0x10}}, {{0, 0x10}}, {{0, 0x10}}},             // at the limit: EEPROM address 0
      {{{0x1000, 0x1001}}, {{0x1000, 0x1000}}, {{0, 1}}},                  // last byte exactly at the limit
      {{{0x1800, 0x1000}, {0x1900, 0x10}, {0x2400, 4}}, {{0x1800, 0x800}, {0x1900, 0x10}}, {{0, 0x800}, {0x400, 4}}},
  };
  for (const auto& c : cases) {
    mem_image code, data;
    for (const auto& [address, size] : c.code) {  // each byte is the low byte of its own address
      std::vector<uint8_t> bytes(size_t(size), 0);
      for (int32_t i = 0; i < size; ++i) bytes[size_t(i)] = uint8_t(address + i);
      code.append(new data_block(address, size, bytes.data()));
    }
    move_flash_overflow(code, data, 0x2000);
    EXPECT_EQ(block_layout(code), c.code_after);
    EXPECT_EQ(block_layout(data), c.data_after);
    for (const auto& [address, value] : image_bytes(data)) EXPECT_EQ(value, uint8_t(address + 0x2000));
  }
}

}  // namespace

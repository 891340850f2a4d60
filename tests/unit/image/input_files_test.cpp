// Loading the run's input files, and moving FLASH overflow of a single file into the data image.
#include "image/flash_overflow.h"
#include "programming/input_files.h"

#include <gtest/gtest.h>

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "image/memory_images.h"
#include "isp/current_chip.h"
#include "image_test_support.h"

namespace {

using namespace image_test;

TEST(FlashOverflow, MovesEverythingFromTheLimitOnToTheDataImage) {
  const struct {
    layout code, code_after, data_after;
  } cases[] = {
      {{{0, 0x100}, {0x1F00, 0x100}}, {{0, 0x100}, {0x1F00, 0x100}}, {}},  // all below the limit
      {{{0, 0x10}, {0x2000, 0x10}}, {{0, 0x10}}, {{0, 0x10}}},             // at the limit: EEPROM address 0
      {{{0x1FF0, 0x20}}, {{0x1FF0, 0x10}}, {{0, 0x10}}},                   // a straddling block is split
      {{{0x1000, 0x1001}}, {{0x1000, 0x1000}}, {{0, 1}}},                  // last byte exactly at the limit
      {{{0x100, 4}, {0x1FFE, 4}, {0x2100, 8}, {0x3000, 2}}, {{0x100, 4}, {0x1FFE, 2}}, {{0, 2}, {0x100, 8}, {0x1000, 2}}},
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
    for (const auto& [address, value] : image_bytes(code)) EXPECT_EQ(value, uint8_t(address));
    for (const auto& [address, value] : image_bytes(data)) EXPECT_EQ(value, uint8_t(address + 0x2000));
  }
}

TEST(LoadInputFiles, OnlyASingleCodeFileIsSplitAtTheFlashSize) {
  message_capture capture;  // restores the run settings too
  scratch_dir dir;
  settings.requested_chip = "mega8";
  ASSERT_EQ(flash_size(), 8192);
  const std::string straddling = dir.write("straddling.hex", ":101FF000000102030405060708090A0B0C0D0E0F69\n"
                                                             ":10200000101112131415161718191A1B1C1D1E1F58\n:00000001FF\n");
  settings.code_file = straddling.c_str();
  settings.write_flags = write_flag_write;
  load_input_files();
  EXPECT_EQ(block_layout(code_image), (layout{{0x1FF0, 0x10}}));
  ASSERT_EQ(block_layout(data_image), (layout{{0, 0x10}}));
  EXPECT_EQ(data_image.first()->bytes[0], 0x10);
  code_image.clear();
  data_image.clear();
  settings.split_code_file = false;
  load_input_files();
  EXPECT_EQ(block_layout(code_image), (layout{{0x1FF0, 0x20}}));
  EXPECT_EQ(data_image.count(), 0);
  code_image.clear();
}

}  // namespace

// The special data cells: byte placement (plain and as LDI operands), the range limits, the serial number's bytes.
#include "programming/data_cells.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "driver/process_state.h"
#include "driver/settings.h"
#include "image/memory_images.h"
#include "isp/isp_chip.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

// mega8 (8 KB FLASH, 512 B EEPROM) named with +mega8.
class DataCells : public ::testing::Test {
 protected:
  void SetUp() override {
    reset_process_state();
    settings.requested_chip = "mega8";
  }
  void TearDown() override { reset_process_state(); }
  static void image_bytes(mem_image& image, int32_t address, std::vector<uint8_t> bytes) {
    image.append(new data_block(address, int32_t(bytes.size()), bytes.data()));
  }
  static std::vector<uint8_t> bytes_at(const mem_image& image, int32_t address, int count) {
    std::vector<uint8_t> out;
    for (int32_t a = address; a < address + count; ++a)
      out.push_back(image.find_if([a](const data_block* b) { return b->contains(a); })->get_byte(a));
    return out;
  }
};

TEST_F(DataCells, InsertPlacesBytesPlainOrAsLdiOperandsAcrossBlocks) {
  const struct {
    cell_mode mode;
    std::vector<uint8_t> value;
    std::vector<uint8_t> expected;  // from 0x100 on
  } cases[] = {
      {cell_code_ldi, {0xA5}, {0x05, 0xEA, 0x11, 0x22}},              // LDI r16,0 (00 E0) takes K = 0xA5
      {cell_code_ldi, {0xA5, 0x3C}, {0x05, 0xEA, 0x1C, 0x23}},        // the second LDI straddles two blocks
      {cell_code, {0xA1, 0xB2, 0xC3}, {0xA1, 0xB2, 0xC3, 0x22}},
  };
  for (const auto& c : cases) {
    code_image.clear();
    image_bytes(code_image, 0x100, {0x00, 0xE0, 0x11});
    image_bytes(code_image, 0x103, {0x22});
    insert_cells("BYTES", c.mode, 0x100, c.value.data(), int(c.value.size()));
    EXPECT_EQ(bytes_at(code_image, 0x100, 4), c.expected);
  }
}

TEST_F(DataCells, DestinationsUpToTheEndOfTheMemory) {
  const struct {
    const char* name;
    cell_mode mode;
    uint32_t address;
    int size;
    bool counter;  // the erase counter takes the last two FLASH bytes
    bool fits;
  } cases[] = {
      {"OSCCAL", cell_code, 0x1FFF, 1, false, true},  {"OSCCAL", cell_code, 0x2000, 1, false, false},
      {"OSCCAL", cell_code, 0x1FFD, 1, true, true},   {"OSCCAL", cell_code, 0x1FFE, 1, true, false},
      {"SERNO", cell_code_ldi, 0x1FF8, 4, false, true}, {"SERNO", cell_code_ldi, 0x1FF9, 4, false, false},
      {"SERNO", cell_data, 0x1FC, 4, false, true},    {"SERNO", cell_data, 0x1FD, 4, false, false},
  };
  for (const auto& c : cases) {
    settings.use_erase_counter = c.counter;
    message_capture capture;
    EXPECT_EQ(status_of([&] { check_destination(c.name, c.mode, c.address, c.size); }), c.fits ? -1 : 70) << c.address;
    EXPECT_EQ(capture.text(), c.fits ? "" : std::string(c.name) + " destination address too large\n");
  }
}

// The number goes into the image low byte first; a run ended before the write leaves the file as it was.
TEST_F(DataCells, SerialNumberIsStoredLowByteFirst) {
  const std::string file = testing::TempDir() + "zindle_serno.txt";
  std::ofstream(file) << "305419896";  // 0x12345678
  image_bytes(code_image, 0x7FC, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE});
  special_commands.serno = serno_cell{cell_code, 4, 0x7FC, file};
  insert_serial_number_cell();
  EXPECT_EQ(bytes_at(code_image, 0x7FC, 5), (std::vector<uint8_t>{0x78, 0x56, 0x34, 0x12, 0xEE}));
  reset_process_state();
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  EXPECT_EQ(text.str(), "305419896");
  std::remove(file.c_str());
}

}  // namespace

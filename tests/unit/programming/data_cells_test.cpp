// The special data cells: byte placement (plain and as LDI operands), range checks, OSCCAL clamping, serial numbers.
#include "programming/data_cells.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "driver/process_state.h"
#include "driver/settings.h"
#include "image/memory_images.h"
#include "isp/isp_chip.h"
#include "tests/support/chip_bench.h"
#include "tests/support/status_of.h"

namespace {

using isp_test::chip_bench;

// mega8 (8 KB FLASH, 512 B EEPROM) named with +mega8; messages captured.
class DataCells : public ::testing::Test {
 protected:
  void SetUp() override {
    reset_process_state();
    bench = std::make_unique<chip_bench>("mega8", "mega8");
    msg_stream.threshold = 2;
  }
  void TearDown() override {
    bench.reset();
    reset_process_state();
  }
  static void image_bytes(mem_image& image, int32_t address, std::vector<uint8_t> bytes) {
    image.append(new data_block(address, int32_t(bytes.size()), bytes.data()));
  }
  static std::vector<uint8_t> bytes_at(const mem_image& image, int32_t address, int count) {
    std::vector<uint8_t> out;
    for (int32_t a = address; a < address + count; ++a)
      out.push_back(image.find_if([a](const data_block* b) { return b->contains(a); })->get_byte(a));
    return out;
  }
  std::unique_ptr<chip_bench> bench;
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

TEST_F(DataCells, RefusalsNameTheCellAndStopWithTheirStatus) {
  image_bytes(code_image, 0x100, {0x00, 0x00});
  const uint8_t byte = 0;
  const struct {
    std::function<void()> action;
    int status;
    const char* text;
  } cases[] = {
      {[&] { insert_cells("BYTES", cell_code, 0x102, &byte, 1); }, 50, "HEX record for BYTES not found\n"},
      {[&] { insert_cells("SERNO", cell_data, 0x10, &byte, 1); }, 70, "No hex records for EEPROM, can't insert SERNO\n"},
      {[] { check_destination("OSCCAL", cell_code, 0x1FFF, 1); }, -1, ""},
      {[] { check_destination("OSCCAL", cell_code, 0x2000, 1); }, 70, "OSCCAL destination address too large\n"},
      {[] { check_destination("SERNO", cell_code_ldi, 0x1FF9, 4); }, 70, "SERNO destination address too large\n"},
      {[] { check_destination("SERNO", cell_data, 0x1FC, 4); }, -1, ""},
      {[] { check_destination("SERNO", cell_data, 0x1FD, 4); }, 70, "SERNO destination address too large\n"},
      {[] { settings.use_erase_counter = true; check_destination("OSCCAL", cell_code, 0x1FFE, 1); }, 70,
       "OSCCAL destination address too large\n"},
  };
  for (const auto& c : cases) {
    bench->clear_output();
    settings.use_erase_counter = false;
    EXPECT_EQ(status_of(c.action), c.status) << c.text;
    EXPECT_EQ(bench->output(), c.text);
  }
}

TEST_F(DataCells, OsccalAddsTheCorrectionAndClampsIt) {
  const struct {
    int correction;
    uint8_t expected;
    const char* text;
  } cases[] = {
      {-3, 0x7D, "OSCCAL1-3 inserted to CODE memory at 0x1FFE \n"},
      {0, 0x80, "OSCCAL1 inserted to CODE memory at 0x1FFE \n"},
      {+200, 0xFF, "Warning: corrected osccal value limited by 0xFF\nOSCCAL1+200 inserted"},
      {-200, 0x00, "Warning: corrected osccal value limited by 0x00\nOSCCAL1-200 inserted"},
  };
  for (const auto& c : cases) {
    code_image.clear();
    image_bytes(code_image, 0x1FFE, {0x55});
    isp_chip.osccal[1] = 0x80;
    special_commands.osccal = osccal_cell{cell_code, 1, 0x1FFE, c.correction};
    bench->clear_output();
    insert_osccal_cell();
    EXPECT_EQ(bytes_at(code_image, 0x1FFE, 1), std::vector<uint8_t>{c.expected});
    EXPECT_EQ(bench->output().rfind(c.text, 0), 0u) << bench->output();
  }
  special_commands.osccal.index = 4;  // mega8 has four calibration bytes
  EXPECT_EQ(status_of(insert_osccal_cell), 70);
}

TEST_F(DataCells, SerialNumberIsStoredLittleEndianAndAdvancedOnlyAfterWriting) {
  const std::string file = testing::TempDir() + "zindle_serno.txt";
  for (bool writing : {true, false}) {
    std::ofstream(file) << "41";
    code_image.clear();
    image_bytes(code_image, 0x7FC, {0xEE, 0xEE, 0xEE, 0xEE, 0xEE});
    special_commands.serno = serno_cell{cell_code, 4, 0x7FC, file};
    settings.write_flags = writing ? write_flag_write : 0;
    insert_serial_number_cell();
    EXPECT_EQ(bytes_at(code_image, 0x7FC, 5), (std::vector<uint8_t>{0x29, 0x00, 0x00, 0x00, 0xEE}));
    EXPECT_EQ(bench->output(), "Chip serial number is 41\n");
    finish_serial_number_file();
    std::stringstream text;
    text << std::ifstream(file).rdbuf();
    EXPECT_EQ(text.str(), writing ? "42\n" : "41");
    bench->clear_output();
  }
  special_commands.serno.length = 5;
  EXPECT_EQ(status_of(insert_serial_number_cell), 70);
  std::remove(file.c_str());
}

}  // namespace

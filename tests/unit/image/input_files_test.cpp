#include "image/flash_overflow.h"
#include "programming/input_files.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "devices/chip_desc.h"
#include "driver/settings.h"
#include "image/memory_images.h"
#include "isp/current_chip.h"
#include "image_test_support.h"

namespace {

using namespace image_test;
using layout = std::vector<std::pair<int32_t, int32_t>>;

// Blocks whose bytes are the low byte of their own address, so a moved byte
// shows where it came from.
void add_blocks(mem_image& image, const layout& blocks) {
  for (const auto& b : blocks) {
    std::vector<uint8_t> bytes(static_cast<size_t>(b.second));
    for (int32_t i = 0; i < b.second; ++i) bytes[static_cast<size_t>(i)] = static_cast<uint8_t>(b.first + i);
    image.append(new data_block(b.first, b.second, bytes.data()));
  }
}

TEST(FlashOverflow, MovesEverythingFromTheLimitOnToTheDataImage) {
  const struct {
    const char* name;
    layout code;
    layout code_after, data_after;
  } cases[] = {
      {"all below the limit", {{0, 0x100}, {0x1F00, 0x100}}, {{0, 0x100}, {0x1F00, 0x100}}, {}},
      {"a record at the limit goes to EEPROM address 0", {{0, 0x10}, {0x2000, 0x10}}, {{0, 0x10}}, {{0, 0x10}}},
      {"a straddling block is split", {{0x1FF0, 0x20}}, {{0x1FF0, 0x10}}, {{0, 0x10}}},
      {"last byte exactly at the limit", {{0x1000, 0x1001}}, {{0x1000, 0x1000}}, {{0, 1}}},
      {"every block beyond keeps its order",
       {{0x100, 4}, {0x1FFE, 4}, {0x2100, 8}, {0x3000, 2}},
       {{0x100, 4}, {0x1FFE, 2}},
       {{0, 2}, {0x100, 8}, {0x1000, 2}}},
      {"an overlapped short block below the limit stays",
       {{0x1800, 0x1000}, {0x1900, 0x10}, {0x2400, 4}},
       {{0x1800, 0x800}, {0x1900, 0x10}},
       {{0, 0x800}, {0x400, 4}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    mem_image code, data;
    add_blocks(code, c.code);
    const auto before = image_bytes(code);
    move_flash_overflow(code, data, 0x2000);
    EXPECT_EQ(block_layout(code), c.code_after);
    EXPECT_EQ(block_layout(data), c.data_after);
    // Every byte ended up at its place: below the limit unchanged, above it at address - limit.
    for (const auto& [address, value] : image_bytes(code)) EXPECT_EQ(before.at(address), value);
    for (const auto& [address, value] : image_bytes(data)) EXPECT_EQ(before.at(address + 0x2000), value);
  }
}

// The run settings and the two global images, restored after each test.
class LoadInputFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = settings;
    settings.requested_chip = "mega8";  // 8 KiB FLASH
    settings.code_file = settings.data_file = nullptr;
  }
  void TearDown() override {
    settings = saved_;
    code_image.clear();
    data_image.clear();
  }
  std::string write(const std::string& name, const std::string& text) { return dir_.write(name, text); }

  scratch_dir dir_;
  run_settings saved_;
};

const char straddling[] =
    ":101FF000000102030405060708090A0B0C0D0E0F69\n"
    ":10200000101112131415161718191A1B1C1D1E1F58\n"
    ":00000001FF\n";

TEST_F(LoadInputFiles, SingleFileSplitsAtTheFlashSize) {
  ASSERT_EQ(flash_size(), 8192);
  const std::string code = write("code.hex", straddling);
  settings.code_file = code.c_str();
  settings.write_flags = write_flag_write;
  load_input_files();
  EXPECT_EQ(block_layout(code_image), (layout{{0x1FF0, 0x10}}));
  ASSERT_EQ(block_layout(data_image), (layout{{0, 0x10}}));
  EXPECT_EQ(data_image.first()->bytes[0], 0x10);
  EXPECT_EQ(code_image.first()->bytes[15], 0x0F);
}

TEST_F(LoadInputFiles, NamedFilesAreNotSplit) {
  const std::string code = write("code.hex", straddling);
  settings.code_file = code.c_str();
  settings.split_code_file = false;
  settings.verify = true;
  load_input_files();
  EXPECT_EQ(block_layout(code_image), (layout{{0x1FF0, 0x20}}));
  EXPECT_EQ(data_image.count(), 0);
}

TEST_F(LoadInputFiles, CodeFileFirstThenDataFile) {
  const std::string data = write("data.hex", ":020010001122BB\n:00000001FF\n");
  const std::string code = dir_.file("missing.hex");
  settings.code_file = code.c_str();
  settings.data_file = data.c_str();
  settings.split_code_file = false;
  settings.verify = true;
  captured_messages capture;
  EXPECT_THROW(load_input_files(), rtl_error);
  EXPECT_EQ(capture.text(), "Can't open file '" + code + "'\n");
  EXPECT_EQ(data_image.count(), 0);  // never reached

  const std::string good_code = write("code.hex", ":0100000055AA\n:00000001FF\n");
  settings.code_file = good_code.c_str();
  load_input_files();
  EXPECT_EQ(block_layout(code_image), (layout{{0, 1}}));
  EXPECT_EQ(block_layout(data_image), (layout{{0x10, 2}}));
}

TEST_F(LoadInputFiles, NothingIsReadWithoutWriteOrVerify) {
  const std::string absent = dir_.file("absent.hex");
  settings.code_file = absent.c_str();
  settings.data_file = absent.c_str();
  for (bool read : {false, true}) {
    settings.read = read;
    captured_messages capture;
    EXPECT_NO_THROW(load_input_files());
    EXPECT_EQ(capture.text(), "");
  }
  EXPECT_EQ(code_image.count(), 0);
  EXPECT_EQ(data_image.count(), 0);
}

}  // namespace

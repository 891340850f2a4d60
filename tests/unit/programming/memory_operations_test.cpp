// Whole-memory operations against the chip model: what they report, which
// locations they read or write, and what the chip holds afterwards.
#include "programming/memory_operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "driver/process_state.h"
#include "driver/settings.h"
#include "image/mem_image.h"
#include "isp/isp_chip.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::chip_bench;

uint8_t pattern(uint32_t a) { return uint8_t(a * 7 + 1); }

// A block holding pattern() from `address` on.
data_block* pattern_block(int32_t address, int32_t size) {
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  for (int32_t i = 0; i < size; ++i) bytes[size_t(i)] = pattern(uint32_t(address + i));
  return new data_block(address, size, bytes.data());
}

// Byte addresses of the FLASH and EEPROM reads the chip framed.
std::vector<uint32_t> read_addresses(const chip_bench& b) {
  std::vector<uint32_t> out;
  for (const auto& i : b.framed()) {
    if (i[0] == 0x20 || i[0] == 0x28) out.push_back(((uint32_t(i[1]) << 8 | i[2]) << 1) | (i[0] == 0x28 ? 1 : 0));
    if (i[0] == 0xA0) out.push_back(uint32_t(i[1]) << 8 | i[2]);
  }
  return out;
}

// The dots between the operation's title line and its " done" (at level 2).
long dots(const std::string& text) {
  const size_t from = text.find("memory\n"), to = text.find(" done");
  return std::count(text.begin() + long(from), text.begin() + long(to), '.');
}

class MemoryOperations : public ::testing::Test {
 protected:
  void SetUp() override { reset_process_state(); }
  void TearDown() override { reset_process_state(); }
};

TEST_F(MemoryOperations, VerifyCountsDifferencesAndTestsFreeLocationsOnlyWithVPlus) {
  const struct {
    int differences;
    bool verify_all;
    uint32_t stray_zero;  // a 0x00 in the chip outside the image, 0 for none
    bool ok;
    const char* text;
  } cases[] = {
      {3, false, 0, false, "Verifying CODE memory\n.failed, 3 errors\n done"},
      {1, false, 0x150, false, "Verifying CODE memory\n.failed, 1 error \n done"},
      {0, false, 0x150, true, "Verifying CODE memory\n. passed\n done"},
      {0, true, 0x150, false, " passed\n Free positions are NOT blank\n"},
      {0, true, 0x1FFF, false, " passed\n Free positions are NOT blank\n"},
      {0, true, 0, true, " passed\n Free positions are blank\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    chip_bench b("mega8", "mega8", {}, {}, [&](vt::chip_state& s) {
      for (uint32_t a = 0; a < 0x300; ++a)
        if (a < 0x100 || a >= 0x200) s.flash[a] = pattern(a);
      if (c.stray_zero != 0) s.flash[c.stray_zero] = 0x00;
    });
    b.start();
    msg_stream.threshold = 2;  // what the user sees
    settings.verify_all = c.verify_all;
    mem_image image;
    image.append(pattern_block(0x000, 0x100));
    image.append(pattern_block(0x200, 0x100));
    for (int d = 0; d < c.differences; ++d) image.first()->bytes[0x10 * d] ^= 0x01;
    EXPECT_EQ(verify_memory(mem_code, image), c.ok);
    EXPECT_NE(b.output().find(c.text), std::string::npos) << b.output();
    const std::vector<uint32_t> reads = read_addresses(b);
    const bool outside = std::any_of(reads.begin(), reads.end(), [](uint32_t a) { return a >= 0x100 && a < 0x200; });
    EXPECT_EQ(outside, c.verify_all) << "free locations read";
  }
}

TEST_F(MemoryOperations, BlankCheckResultBitsAndMessages) {
  const struct {
    uint8_t mask;
    bool erase_counter;
    uint32_t flash_byte, eeprom_byte;  // where the chip holds 0x00; ~0 for nowhere
    uint32_t result;
    const char* text;
  } cases[] = {
      {3, false, ~0u, 0x1FF, 2, "Blank check\nCode: ................ done"},
      {3, false, 0x1000, ~0u, 1, "Code not blank\n"},
      {2, false, 0x1000, ~0u, 0, "Blank check\nData: ................ done"},
      {1, true, 0x1FFE, ~0u, 0, "  blank\n"},  // the erase counter is not tested
      {1, false, 0x1FFE, ~0u, 1, "Code not blank\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    chip_bench b("mega8", "mega8", {}, {}, [&](vt::chip_state& s) {
      if (c.flash_byte != ~0u) s.flash[c.flash_byte] = 0x00;
      if (c.eeprom_byte != ~0u) s.eeprom[c.eeprom_byte] = 0x00;
    });
    b.start();
    msg_stream.threshold = 2;  // what the user sees
    settings.use_erase_counter = c.erase_counter;
    EXPECT_EQ(blank_check(c.mask), c.result);
    const std::string text = b.output();
    EXPECT_NE(text.find(c.text), std::string::npos) << text;
    if (c.mask == 3 && c.result == 2) {
      EXPECT_NE(text.find("  blank\nData: "), std::string::npos) << text;
      EXPECT_NE(text.find("  not blank\n"), std::string::npos) << text;
    }
  }
}

TEST_F(MemoryOperations, ReadGoesInBlocksOf512And32AndLeavesTheEraseCounterOut) {
  chip_bench b("mega8", "mega8", {}, {}, [](vt::chip_state& s) {
    for (uint32_t a = 0; a < s.flash.size(); ++a) s.flash[a] = pattern(a);
    for (uint32_t a = 0; a < s.eeprom.size(); ++a) s.eeprom[a] = pattern(a + 3);
  });
  b.start();
  msg_stream.threshold = 2;
  settings.use_erase_counter = true;
  const struct {
    int kind, blocks, last_size, step;
  } cases[] = {{mem_code, 16, 510, 512}, {mem_data, 16, 32, 32}};
  for (const auto& c : cases) {
    mem_image image;
    read_memory(c.kind, image);
    ASSERT_EQ(image.count(), c.blocks);
    EXPECT_EQ(image.last()->size, c.last_size);
    int32_t expected_address = 0;
    for (const data_block* block = image.first(); block != nullptr; block = image.next(block)) {
      EXPECT_EQ(block->address, expected_address);
      for (int32_t i = 0; i < block->size; ++i)
        ASSERT_EQ(block->bytes[i], pattern(uint32_t(block->address + i + (c.kind == mem_data ? 3 : 0))));
      expected_address += c.step;
    }
  }
}

TEST_F(MemoryOperations, EepromWithWPlusFillsTheGapsUnlessErased) {
  for (bool erased : {false, true}) {
    chip_bench b("mega8", "mega8", {}, {}, [](vt::chip_state& s) { std::fill(s.eeprom.begin(), s.eeprom.end(), 0x5A); });
    b.start();
    msg_stream.threshold = 2;  // what the user sees
    settings.write_flags = write_flag_write | write_flag_fill_eeprom;
    isp_chip.erased = erased;
    mem_image image;
    image.append(pattern_block(0x10, 2));
    program_memory(mem_data, image);
    const auto writes = b.framed(0xC0);
    ASSERT_EQ(writes.size(), erased ? 2u : 512u);
    for (size_t i = 0; i < writes.size(); ++i) {
      const uint32_t address = erased ? 0x10 + uint32_t(i) : uint32_t(i);
      EXPECT_EQ(uint32_t(writes[i][1]) << 8 | writes[i][2], address);
      const bool in_image = address == 0x10 || address == 0x11;
      EXPECT_EQ(writes[i][3], in_image ? pattern(address) : 0xFF) << address;
    }
    EXPECT_EQ(b.contents().eeprom[0x00], erased ? 0x5A : 0xFF);
    EXPECT_EQ(b.contents().eeprom[0x11], pattern(0x11));
  }
}

TEST_F(MemoryOperations, PagedFlashEndsWithThePendingPageAndDotsCountBytes) {
  chip_bench b("mega8", "mega8");
  b.start();
  msg_stream.threshold = 2;
  settings.write_flags = write_flag_write;
  mem_image image;
  image.append(pattern_block(0x000, 0x3A1));  // the last byte in the middle of page 0x380
  program_memory(mem_code, image);
  const auto pages = b.framed_hex(0x4C);
  ASSERT_EQ(pages.size(), 15u);
  EXPECT_EQ(pages.back(), "4C 01 D0 00");  // the last byte loaded: 0x3A0
  for (uint32_t a = 0; a < 0x3A1; ++a) ASSERT_EQ(b.contents().flash[a], pattern(a)) << a;
  EXPECT_EQ(dots(b.output()), 1);  // 929 bytes: one dot per 512

  const struct {
    int kind;
    int32_t size;
    long dots;
  } cases[] = {{mem_code, 1024, 2}, {mem_data, 64, 2}, {mem_data, 63, 1}};
  for (const auto& c : cases) {
    b.clear_output();
    mem_image more;
    more.append(pattern_block(0, c.size));
    program_memory(c.kind, more);
    EXPECT_EQ(dots(b.output()), c.dots) << c.kind << " " << c.size;
  }
}

}  // namespace

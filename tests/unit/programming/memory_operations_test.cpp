// Verify and blank check against the chip model: what they report and which locations they read.
#include "programming/memory_operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "driver/process_state.h"
#include "driver/settings.h"
#include "image/mem_image.h"
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

// Byte addresses of the FLASH reads the chip framed.
std::vector<uint32_t> read_addresses(const chip_bench& b) {
  std::vector<uint32_t> out;
  for (const auto& i : b.framed())
    if (i[0] == 0x20 || i[0] == 0x28) out.push_back(((uint32_t(i[1]) << 8 | i[2]) << 1) | (i[0] == 0x28 ? 1 : 0));
  return out;
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
      {3, false, ~0u, 0x1FF, 2, "  blank\nData: "},
      {3, false, ~0u, 0x1FF, 2, "  not blank\n"},
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
    EXPECT_NE(b.output().find(c.text), std::string::npos) << b.output();
  }
}

}  // namespace

// The device table and its fuse sets against datasheet values on representative chips, and the
// properties every row must keep.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

#include "devices/chip_desc.h"
#include "isp/fuse_field.h"

namespace {

// name, signature, erase delay, FLASH size/page/delay/poll, EEPROM size/delay/poll, OSCCAL count, flags,
// lock kind, fuse kind, whether it has fuse lists.
std::string row_text(const chip_desc& c) {
  char text[200];
  snprintf(text, sizeof text, "%s %06X %d, %d/%d/%d/%d, %d/%d/%d, %d %04X %d %d %d", c.name, unsigned(c.signature),
           c.erase_delay, c.flash_size, c.flash_page_size, c.flash_write_delay, int(c.flash_poll), c.eeprom_size,
           c.eeprom_write_delay, int(c.eeprom_poll), c.osccal_count, unsigned(c.flags), int(c.lock_type),
           int(c.fuse_type), c.fuses != nullptr);
  return text;
}

TEST(ChipTable, SelectedRowsFieldByField) {
  const std::pair<int, const char*> rows[] = {
      {0, "86RF401 1E9181 30, 2048/0/10/0, 128/10/0, 0 0020 0 0 0"},
      {1, "90S1200 1E9001 30, 1024/0/6/0, 64/6/0, 0 8012 0 0 0"},
      {11, "tiny12 1E9005 30, 1024/0/6/4, 64/8/4, 1 80C4 2 3 1"},
      {12, "tiny22L 1E9106 30, 2048/0/6/4, 128/6/1, 0 0004 1 0 0"},
      {13, "tiny22 1E9106 30, 2048/0/6/4, 128/6/1, 0 0044 1 1 1"},
      {14, "tiny13|tiny13A 1E9007 20, 1024/32/6/5, 64/5/5, 2 0000 3 3 1"},
      {33, "mega603 1E9601 70, 65536/256/25/0, 2048/10/2, 0 8004 2 2 1"},
      {41, "mega8|mega8A 1E9307 20, 8192/64/6/4, 512/10/4, 4 8000 3 3 1"},
      {76, "mega165|mega165P|mega165PA 1E9407 20, 16384/128/6/5, 512/10/5, 1 8000 3 3 1"},
      {95, "mega2560 1E9801 20, 262144/256/6/5, 4096/10/5, 1 0000 3 3 1"},
      {110, "mega8HVD 1E9312 20, 8192/64/6/5, 256/5/5, 1 0000 3 3 1"},
      {111, "mega128RFA1 1EA701 30, 131072/256/6/5, 4096/12/5, 1 8000 3 3 1"},
  };
  ASSERT_EQ(chip_count, 112);
  for (const auto& [index, expected] : rows) EXPECT_EQ(row_text(chip_table[index]), expected);
}

bool power_of_two(int n) { return n > 0 && (n & (n - 1)) == 0; }

TEST(ChipTable, RowsKeepTheTableInvariants) {
  std::map<std::string, int> names;
  std::map<uint32_t, int> signatures;
  for (int i = 0; i < chip_count; ++i) {
    const chip_desc& c = chip_table[i];
    SCOPED_TRACE(c.name);
    std::string all = std::string(c.name) + "|";
    for (size_t start = 0, bar; (bar = all.find('|', start)) != std::string::npos; start = bar + 1) {
      std::string part = all.substr(start, bar - start);
      for (char& ch : part) ch = char(tolower(static_cast<unsigned char>(ch)));
      EXPECT_TRUE(!part.empty() && names.emplace(part, i).second) << "'" << part << "' named twice or empty";
    }
    EXPECT_EQ(c.signature >> 16, 0x1Eu);  // Atmel
    signatures[c.signature]++;
    EXPECT_TRUE(power_of_two(c.flash_size) && power_of_two(c.eeprom_size));
    EXPECT_TRUE(c.flash_page_size == 0 || (power_of_two(c.flash_page_size) && c.flash_size % c.flash_page_size == 0));
    EXPECT_LE(c.osccal_count, 4);
    EXPECT_EQ(c.flags & ~0x80F6u, 0u);
    EXPECT_EQ(c.fuses == nullptr, c.fuse_type == fuse_kind::none);
  }
  for (const auto& [signature, count] : signatures)
    EXPECT_EQ(count, signature == 0x1E9106 ? 2 : 1) << std::hex << signature;  // tiny22 and tiny22L share one
}

// A fuse list written the way the datasheet summary reads: "SUT 5..4, CKSEL 3..0".
std::string describe(const fuse_desc* list) {
  if (list == nullptr) return "-";
  std::string text;
  for (; list->info != nullptr; ++list) {
    if (!text.empty()) text += ", ";
    text += list->info->name;
    text += ' ' + std::to_string(list->shift + list->width - 1);
    if (list->width > 1) text += ".." + std::to_string(list->shift);
  }
  return text;
}

TEST(FuseSets, SelectedChipsByteByByte) {
  const struct {
    const char *chip, *lock, *low, *high, *ext;
  } cases[] = {
      {"90S4433", "-", "BODLEVEL 4, BODEN 3, CKSEL 2..0", "-", "-"},
      {"tiny13", "-", "EESAVE 6, WDTON 5, CKDIV 4, SUT 3..2, CKSEL 1..0",
       "SELFPRGEN 4, DWEN 3, BODLEVEL 2..1, RSTDISBL 0", "-"},
      {"tiny2313", "-", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "DWEN 7, EESAVE 6, WDTON 4, BODLEVEL 3..1, RSTDISBL 0", "SELFPRGEN 0"},
      {"mega8", "BLB1 5..4, BLB0 3..2", "BODLEVEL 7, BODEN 6, SUT 5..4, CKSEL 3..0",
       "RSTDISBL 7, WDTON 6, CKOPT 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "-"},
      {"mega328P", "BLB1 5..4, BLB0 3..2", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "RSTDISBL 7, DWEN 6, WDTON 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "BODLEVEL 2..0"},
      {"mega32HVB", "BLB1 5..4, BLB0 3..2", "WDTON 7, EESAVE 6, SUT 4..2",
       "DUVRDINIT 4, DWEN 3, BOOTSZ 2..1, BOOTRST 0", "-"},
  };
  for (const auto& e : cases) {
    const fuse_desc* const* set = chip_table[find_chip(e.chip)].fuses;
    ASSERT_NE(set, nullptr) << e.chip;
    const std::string got[] = {describe(set[0]), describe(set[1]), describe(set[2]), describe(set[3])};
    EXPECT_EQ(got[0] + " / " + got[1] + " / " + got[2] + " / " + got[3],
              std::string(e.lock) + " / " + e.low + " / " + e.high + " / " + e.ext);
  }
}

TEST(FuseSets, EveryListIsOrderedDisjointAndLocksCoverTheBootBits) {
  for (int i = 0; i < chip_count; ++i) {
    const chip_desc& c = chip_table[i];
    if (c.fuses == nullptr) continue;
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(c.fuse_type == fuse_kind::bytes_4 || (!c.fuses[fuse_lock] && !c.fuses[fuse_high] && !c.fuses[fuse_ext]));
    EXPECT_TRUE(c.fuses[fuse_lock] == nullptr || defined_bits(c.fuses[fuse_lock]) == 0x3C) << "boot lock bits";
    for (int byte = 0; byte < 4; ++byte) {
      uint8_t seen = 0;
      int previous_shift = 8;
      for (const fuse_desc* f = c.fuses[byte]; f != nullptr && f->info != nullptr; ++f) {
        EXPECT_TRUE(f->width >= 1 && f->width <= 4 && f->shift + f->width <= 8) << f->info->name;
        EXPECT_LT(static_cast<int>(f->shift), previous_shift) << f->info->name << " out of order";
        EXPECT_EQ(seen & field_mask(*f), 0) << f->info->name << " overlaps";
        seen |= field_mask(*f);
        previous_shift = static_cast<int>(f->shift);
      }
    }
  }
}

}  // namespace

// Rows of the device table and its fuse sets against values typed from the
// datasheets and the device list, plus the invariants every row must keep.
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <set>
#include <string>

#include "devices/chip_desc.h"

namespace {

struct expected_row {
  int index;
  const char* name;
  uint32_t signature;
  int erase_delay, flash_size, flash_page_size, flash_write_delay, flash_poll;
  int eeprom_size, eeprom_write_delay, eeprom_poll, osccal_count;
  uint32_t flags;
  int lock_type, fuse_type;
  bool has_fuses;
};

TEST(ChipTable, SelectedRowsFieldByField) {
  const expected_row rows[] = {
      {0, "86RF401", 0x1E9181, 30, 2048, 0, 10, 0, 128, 10, 0, 0, 0x0020, 0, 0, false},
      {1, "90S1200", 0x1E9001, 30, 1024, 0, 6, 0, 64, 6, 0, 0, 0x8012, 0, 0, false},
      {11, "tiny12", 0x1E9005, 30, 1024, 0, 6, 4, 64, 8, 4, 1, 0x80C4, 2, 3, true},
      {12, "tiny22L", 0x1E9106, 30, 2048, 0, 6, 4, 128, 6, 1, 0, 0x0004, 1, 0, false},
      {13, "tiny22", 0x1E9106, 30, 2048, 0, 6, 4, 128, 6, 1, 0, 0x0044, 1, 1, true},
      {14, "tiny13|tiny13A", 0x1E9007, 20, 1024, 32, 6, 5, 64, 5, 5, 2, 0, 3, 3, true},
      {33, "mega603", 0x1E9601, 70, 65536, 256, 25, 0, 2048, 10, 2, 0, 0x8004, 2, 2, true},
      {41, "mega8|mega8A", 0x1E9307, 20, 8192, 64, 6, 4, 512, 10, 4, 4, 0x8000, 3, 3, true},
      {76, "mega165|mega165P|mega165PA", 0x1E9407, 20, 16384, 128, 6, 5, 512, 10, 5, 1, 0x8000, 3, 3, true},
      {95, "mega2560", 0x1E9801, 20, 262144, 256, 6, 5, 4096, 10, 5, 1, 0, 3, 3, true},
      {110, "mega8HVD", 0x1E9312, 20, 8192, 64, 6, 5, 256, 5, 5, 1, 0, 3, 3, true},
      {111, "mega128RFA1", 0x1EA701, 30, 131072, 256, 6, 5, 4096, 12, 5, 1, 0x8000, 3, 3, true},
  };
  ASSERT_EQ(chip_count, 112);
  for (const auto& e : rows) {
    SCOPED_TRACE(e.name);
    const chip_desc& c = chip_table[e.index];
    EXPECT_STREQ(c.name, e.name);
    EXPECT_EQ(c.signature, e.signature);
    EXPECT_EQ(c.erase_delay, e.erase_delay);
    EXPECT_EQ(c.flash_size, e.flash_size);
    EXPECT_EQ(c.flash_page_size, e.flash_page_size);
    EXPECT_EQ(c.flash_write_delay, e.flash_write_delay);
    EXPECT_EQ(static_cast<int>(c.flash_poll), e.flash_poll);
    EXPECT_EQ(c.eeprom_size, e.eeprom_size);
    EXPECT_EQ(c.eeprom_write_delay, e.eeprom_write_delay);
    EXPECT_EQ(static_cast<int>(c.eeprom_poll), e.eeprom_poll);
    EXPECT_EQ(c.osccal_count, e.osccal_count);
    EXPECT_EQ(c.flags, e.flags);
    EXPECT_EQ(static_cast<int>(c.lock_type), e.lock_type);
    EXPECT_EQ(static_cast<int>(c.fuse_type), e.fuse_type);
    EXPECT_EQ(c.fuses != nullptr, e.has_fuses);
  }
}

TEST(ChipTable, RowsKeepTheTableInvariants) {
  std::map<std::string, int> names;
  std::map<uint32_t, int> signatures;
  for (int i = 0; i < chip_count; ++i) {
    const chip_desc& c = chip_table[i];
    SCOPED_TRACE(c.name);
    std::string all = c.name;
    size_t start = 0;
    for (;;) {
      size_t bar = all.find('|', start);
      std::string part = all.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
      EXPECT_FALSE(part.empty());
      for (char& ch : part) ch = static_cast<char>(tolower(static_cast<unsigned char>(ch)));
      EXPECT_EQ(names.count(part), 0u) << part << " named twice";
      names[part] = i;
      if (bar == std::string::npos) break;
      start = bar + 1;
    }
    EXPECT_EQ(c.signature >> 16, 0x1Eu);
    signatures[c.signature]++;
    if (c.flash_page_size != 0) {
      EXPECT_EQ(c.flash_page_size & (c.flash_page_size - 1), 0) << "page size not a power of two";
      EXPECT_EQ(c.flash_size % c.flash_page_size, 0);
    }
    EXPECT_LE(c.osccal_count, 4);
    EXPECT_EQ(c.flags & ~0x80F6u, 0u);
    EXPECT_EQ(c.fuses == nullptr, c.fuse_type == fuse_kind::none);
  }
  for (const auto& [signature, count] : signatures)
    EXPECT_EQ(count, signature == 0x1E9106 ? 2 : 1) << std::hex << signature;
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

struct expected_fuses {
  const char* chip;
  const char* lock;
  const char* low;
  const char* high;
  const char* ext;
};

TEST(FuseSets, SelectedChipsByteByByte) {
  const expected_fuses cases[] = {
      {"90S4434", "-", "FSTRT 0", "-", "-"},
      {"90S4433", "-", "BODLEVEL 4, BODEN 3, CKSEL 2..0", "-", "-"},
      {"tiny22", "-", "RCEN 0", "-", "-"},
      {"tiny13", "-", "EESAVE 6, WDTON 5, CKDIV 4, SUT 3..2, CKSEL 1..0",
       "SELFPRGEN 4, DWEN 3, BODLEVEL 2..1, RSTDISBL 0", "-"},
      {"tiny2313", "-", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "DWEN 7, EESAVE 6, WDTON 4, BODLEVEL 3..1, RSTDISBL 0", "SELFPRGEN 0"},
      {"mega8", "BLB1 5..4, BLB0 3..2", "BODLEVEL 7, BODEN 6, SUT 5..4, CKSEL 3..0",
       "RSTDISBL 7, WDTON 6, CKOPT 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "-"},
      {"mega128", "BLB1 5..4, BLB0 3..2", "BODLEVEL 7, BODEN 6, SUT 5..4, CKSEL 3..0",
       "OCDEN 7, JTAGEN 6, CKOPT 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "M103C 1, WDTON 0"},
      {"mega328P", "BLB1 5..4, BLB0 3..2", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "RSTDISBL 7, DWEN 6, WDTON 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "BODLEVEL 2..0"},
      {"mega2560", "BLB1 5..4, BLB0 3..2", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "OCDEN 7, JTAGEN 6, WDTON 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0", "BODLEVEL 2..0"},
      {"90pwm81", "BLB1 5..4, BLB0 3..2", "CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0",
       "RSTDISBL 7, DWEN 6, WDTON 4, EESAVE 3, BOOTSZ 2..1, BOOTRST 0",
       "PSC2RB 7, PSC2RBA 6, PSCRRB 5, PSCRV 4, PSCINRB 3, BODLEVEL 2..0"},
      {"mega8HVA", "-", "WDTON 7, EESAVE 6, DWEN 4, SELFPRGEN 3, SUT 2..0", "-", "-"},
      {"mega32HVB", "BLB1 5..4, BLB0 3..2", "WDTON 7, EESAVE 6, SUT 4..2",
       "DUVRDINIT 4, DWEN 3, BOOTSZ 2..1, BOOTRST 0", "-"},
  };
  for (const auto& e : cases) {
    SCOPED_TRACE(e.chip);
    int index = find_chip(e.chip);
    ASSERT_GE(index, 0);
    const fuse_desc* const* set = chip_table[index].fuses;
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(describe(set[fuse_lock]), e.lock);
    EXPECT_EQ(describe(set[fuse_low]), e.low);
    EXPECT_EQ(describe(set[fuse_high]), e.high);
    EXPECT_EQ(describe(set[fuse_ext]), e.ext);
  }
}

uint8_t field_mask(const fuse_desc& f) { return static_cast<uint8_t>(((1u << f.width) - 1) << f.shift); }

uint8_t defined_mask(const fuse_desc* list) {
  uint8_t mask = 0;
  for (; list != nullptr && list->info != nullptr; ++list) mask |= field_mask(*list);
  return mask;
}

const fuse_desc& field_named(const char* chip, int byte, const char* name) {
  const fuse_desc* f = chip_table[find_chip(chip)].fuses[byte];
  while (f->info != nullptr && std::string(f->info->name) != name) ++f;
  return *f;
}

TEST(FuseSets, FieldMasksAndDefinedBits) {
  const fuse_desc& tiny25_bodlevel = field_named("tiny25", fuse_high, "BODLEVEL");
  EXPECT_EQ(tiny25_bodlevel.width, 3u);
  EXPECT_EQ(tiny25_bodlevel.shift, 0u);
  EXPECT_EQ(field_mask(tiny25_bodlevel), 0x07);
  const fuse_desc& mega325_bodlevel = field_named("mega325", fuse_ext, "BODLEVEL");
  EXPECT_EQ(mega325_bodlevel.width, 2u);
  EXPECT_EQ(mega325_bodlevel.shift, 1u);
  EXPECT_EQ(field_mask(mega325_bodlevel), 0x06);

  EXPECT_EQ(defined_mask(chip_table[find_chip("tiny2313")].fuses[fuse_high]), 0xDF);
  EXPECT_EQ(defined_mask(chip_table[find_chip("mega8")].fuses[fuse_low]), 0xFF);
  EXPECT_EQ(defined_mask(chip_table[find_chip("tiny13")].fuses[fuse_low]), 0x7F);

  // Field values of a low byte of 0x62 in the mega88 layout (CKDIV 7, CKOUT 6, SUT 5..4, CKSEL 3..0).
  const uint8_t low = 0x62;
  auto value = [&](const char* name) {
    const fuse_desc& f = field_named("mega88", fuse_low, name);
    return (low >> f.shift) & ((1u << f.width) - 1);
  };
  EXPECT_EQ(value("CKSEL"), 2u);
  EXPECT_EQ(value("SUT"), 2u);
  EXPECT_EQ(value("CKDIV"), 0u);
}

TEST(FuseSets, EveryListIsOrderedDisjointAndLocksCoverTheBootBits) {
  for (int i = 0; i < chip_count; ++i) {
    const chip_desc& c = chip_table[i];
    if (c.fuses == nullptr) continue;
    SCOPED_TRACE(c.name);
    if (c.fuse_type != fuse_kind::bytes_4) {
      EXPECT_EQ(c.fuses[fuse_lock], nullptr);
      EXPECT_EQ(c.fuses[fuse_high], nullptr);
      EXPECT_EQ(c.fuses[fuse_ext], nullptr);
    }
    if (c.fuses[fuse_lock] != nullptr) {
      EXPECT_EQ(defined_mask(c.fuses[fuse_lock]), 0x3C);
    }
    for (int byte = 0; byte < 4; ++byte) {
      uint8_t seen = 0;
      int previous_shift = 8;
      for (const fuse_desc* f = c.fuses[byte]; f != nullptr && f->info != nullptr; ++f) {
        EXPECT_GE(f->width, 1u);
        EXPECT_LE(f->width, 4u);
        EXPECT_LE(f->shift + f->width, 8u);
        EXPECT_LT(static_cast<int>(f->shift), previous_shift) << f->info->name << " out of order";
        EXPECT_EQ(seen & field_mask(*f), 0) << f->info->name << " overlaps";
        seen |= field_mask(*f);
        previous_shift = static_cast<int>(f->shift);
      }
    }
  }
}

struct expected_info {
  const char* name;
  const char* text;
  const char* alt_name;
};

TEST(FuseSets, TheNamedFieldsAndTheirTexts) {
  const expected_info infos[] = {
      {"FSTRT", "Fast start", nullptr},
      {"BODLEVEL", "Brown-out level", "BLEV"},
      {"BODEN", "Brown-out detect", nullptr},
      {"CKSEL", "Clock selection", nullptr},
      {"RCEN", "RC generator enable", nullptr},
      {"SPIEN", "SPI programming enable", nullptr},
      {"RSTDISBL", "Reset pin disable", "RSTDSBL"},
      {"EESAVE", "Keep EEPROM @ erase", "EESV"},
      {"WDTON", "WDT enable", nullptr},
      {"CKDIV", "clock prescaler selection", "CKDIV8"},
      {"SUT", "Start-up timer", nullptr},
      {"SELFPRGEN", "Self programming enable", "SPMEN"},
      {"DWEN", "DebugWire enable", nullptr},
      {"CKOUT", "clock output enable", nullptr},
      {"PLLCK", "Use PLL for internal clock", nullptr},
      {"CKOPT", "Clock option", nullptr},
      {"BLB1", "Disable SPM/LPM in boot section (BLB12,BLB11)", nullptr},
      {"BLB0", "Disable SPM/LPM in application section (BLB02,BLB01)", nullptr},
      {"BOOTRST", "Reset to boot block", "BRST"},
      {"BOOTSZ", "Boot section size", "BSIZ"},
      {"OCDEN", "On-chip debug enable", nullptr},
      {"JTAGEN", "JTAG port enable", nullptr},
      {"S8515C", "90S8515 compatibility enable", nullptr},
      {"S8535C", "90S8535 compatibility enable", nullptr},
      {"M161C", "mega161 compatibility enable", nullptr},
      {"M103C", "mega103 compatibility enable", nullptr},
      {"HWBE", "Hardwre Boot Enable", nullptr},
      {"PSC2RB", "PSC2 reset behavior", nullptr},
      {"PSC1RB", "PSC1 reset behavior", nullptr},
      {"PSC0RB", "PSC0 reset behavior", nullptr},
      {"PSCRV", "PSC reset value", nullptr},
      {"PSC2RBA", "PSC2 reset behavior for OUT22 & 23", nullptr},
      {"PSCRRB", "PSC reduced reset behavior", nullptr},
      {"PSCINRB", "PSC & PSCR Inputs Reset Behavior", nullptr},
      {"PSCRB", "PSC reset behavior", nullptr},
      {"PSCRVA", "PSCA reset value", nullptr},
      {"PSCRVB", "PSCB reset value", nullptr},
      {"DUVRDINIT", "DUVRD register reset value", nullptr},
  };
  // Every field is one shared record, whichever chip's list refers to it.
  std::map<std::string, const fuse_info*> used;
  for (int i = 0; i < chip_count; ++i) {
    if (chip_table[i].fuses == nullptr) continue;
    for (int byte = 0; byte < 4; ++byte)
      for (const fuse_desc* f = chip_table[i].fuses[byte]; f != nullptr && f->info != nullptr; ++f) {
        auto [it, fresh] = used.emplace(f->info->name, f->info);
        EXPECT_EQ(it->second, f->info) << f->info->name << " has two records";
      }
  }
  EXPECT_EQ(used.size(), std::size(infos));
  for (const auto& e : infos) {
    SCOPED_TRACE(e.name);
    auto it = used.find(e.name);
    ASSERT_NE(it, used.end());
    EXPECT_STREQ(it->second->text, e.text);
    if (e.alt_name == nullptr) {
      EXPECT_EQ(it->second->alt_name, nullptr);
    } else {
      EXPECT_STREQ(it->second->alt_name, e.alt_name);
    }
  }
}

}  // namespace

// The -f fuse list, fuse reading, programming, printing and verifying, and locking, against the chip model.
#include <gtest/gtest.h>

#include "isp/fuse_list.h"
#include "isp/fuses.h"
#include "isp/isp_chip.h"
#include "isp/lock.h"
#include "tests/support/chip_bench.h"
#include "tests/support/status_of.h"

namespace {

using isp_test::chip_bench;
using strings = std::vector<std::string>;

TEST(FuseList, AcceptedLists) {
  const struct {
    const char* chip;
    std::string list;
    int byte;
    uint8_t mask, value;
  } cases[] = {
      {"mega8", "CKSEL=2,SUT=1", 1, 0x3F, 0x12}, {"mega8", "BODEN=off", 1, 0x40, 0x40},
      {"mega8", "_high=D9", 2, 0xFF, 0xD9},      {"mega8", "_LOCK=0", 0, 0xFC, 0x00},
      {"mega8", "BLEV=1", 1, 0x80, 0x80},  // alternate name of BODLEVEL
      {"mega8", "eesv=0,bootsz=2", 2, 0x0E, 0x04}, {"mega8", ",,CKSEL=0x3,,", 1, 0x0F, 0x03},
      {"mega8", "BLB1=2,BLB0=1", 0, 0x3C, 0x24},  {"tiny2313", "SELFPRGEN=0", 3, 0x01, 0x00},
      {"mega8", "CKSEL=" + std::string(57, '0') + "2", 1, 0x0F, 0x02},  // 64 characters
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    ASSERT_EQ(status_of([&] { parse_fuse_list(c.list.c_str()); }), -1) << c.list << "\n" << b.output();
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(isp_chip.fuse_request[i].mask, i == c.byte ? c.mask : 0) << c.list << " byte " << i;
      EXPECT_EQ(isp_chip.fuse_request[i].value, i == c.byte ? c.value : 0) << c.list << " byte " << i;
    }
  }
}

TEST(FuseList, RejectedListsStopWithStatus70) {
  const struct {
    const char* chip;
    std::string list;
    const char* message;
  } cases[] = {
      {"mega8", "CKSEL=10", "Value 10 too large for fuse CKSEL\n"},
      {"mega8", "CKSEL=ON", "ON/OFF mnemonics can't be used with 4-bit fuse 'CKSEL'\n"},
      {"mega8", "_LOW=ON", "ON/OFF mnemonics can't be used for fuse byte name '_LOW'\n"},
      {"mega8", "_LOW=FF,CKSEL=2", "Duplicate fuse CKSEL in command line\n"},
      {"mega8", "CKSEL=2,_LOW=FF", "Duplicate fuse _LOW in command line\n"},
      {"mega8", "_EXT=1", "Fuse byte '_EXT' not exist in mega8|mega8A\n"},
      {"mega8", "XYZ=1", "Invalid fuse name XYZ\n"},
      {"mega8", "CKSEL", "Value required for fuse CKSEL\n"},
      {"mega8", "_LOW", "Value required for fuse _LOW\n"},
      {"mega8", "CKSEL=zz", "Invalid value 'zz' for fuse 'CKSEL'\n"},
      {"mega8", "_LOW=100", "Value 100 too large for fuse byte _LOW\n"},
      {"mega8", "CKSEL=" + std::string(58, '0') + "2", "Fuse command too long\n"},  // 65 characters
      {"90S1200", "CKSEL=1", "90S1200 has no ISP-writable fuses\n"},
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    EXPECT_EQ(status_of([&] { parse_fuse_list(c.list.c_str()); }), 70) << c.list;
    EXPECT_EQ(b.messages(), c.message) << c.list;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(isp_chip.fuse_request[i].mask, 0) << "nothing applied in part";
  }
}

TEST(Fuses, ReadInstructionsByFuseType) {
  const std::pair<const char*, strings> cases[] = {
      {"90S2313", {}}, {"90S4434", {"58 00 00 00"}}, {"90S4433", {"50 00 00 00"}},
      {"mega328P", {"50 00 00 00", "58 00 00 00", "58 08 00 00", "50 08 00 00"}}};
  for (const auto& [chip, reads] : cases) {
    chip_bench b(chip, chip);
    b.start();
    read_fuses();
    EXPECT_EQ(b.framed_hex(), reads) << chip;
  }
}

TEST(Fuses, ProgrammingWritesOnlyRequestedBytesAndKeepsTheRest) {
  const struct {
    const char* chip;
    const char* list;
    strings writes;  // fuse and lock write instructions, in order
    int fuse_index;  // chip model's fuse byte to check, -1 for the lock byte
    uint8_t chip_value;
  } cases[] = {
      {"mega8", "CKSEL=4", {"AC A0 00 E4"}, 0, 0xE4},  // read E1, CKSEL changed
      // Undescribed bit 5 (SPIEN) is sent as 1; the chip keeps SPIEN programmed whatever is sent.
      {"tiny2313", "EESAVE=0", {"AC A8 00 BF"}, 1, 0x9F},
      {"90S4433", "CKSEL=2", {"AC BA 00 00"}, 0, 0xDA},  // read DA: fuse bits in byte 1
      {"90S4433", "CKSEL=5,BODEN=ON", {"AC B5 00 00"}, 0, 0xD5},
      {"90S4434", "FSTRT=0", {"AC BE 00 00"}, 0, 0xDE},  // fuse type 1
      {"mega8", "_LOCK=CF,_HIGH=C9,BODEN=0", {"AC A0 00 A1", "AC A8 00 C9", "AC E0 00 CF"}, -1, 0xCF},
      {"mega328P", "BODLEVEL=5", {"AC A4 00 FD"}, 2, 0xFD},
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    b.start();
    parse_fuse_list(c.list);
    read_fuses();
    program_fuses();
    EXPECT_EQ(b.framed_hex(0xAC), c.writes) << c.chip << " " << c.list;
    const auto& st = b.contents();
    EXPECT_EQ(c.fuse_index < 0 ? st.lock : st.fuse[c.fuse_index], c.chip_value) << c.chip << " " << c.list;
    for (float d : b.adapter->delays()) EXPECT_FLOAT_EQ(d, 4 * isp_chip.eeprom_delay);
    EXPECT_TRUE(verify_fuses()) << b.output();
    EXPECT_NE(b.messages().find("Programming fuses\nVerifying fuses\npassed\n"), std::string::npos) << b.output();
  }
}

TEST(Lock, LockChipForEachLockType) {
  const struct {
    const char* chip;
    uint8_t lock_before;
    char level;
    strings sent;
    uint8_t lock_after;
    char returned;
  } cases[] = {
      {"mega8", 0xFF, '2', {"58 00 00 00", "AC E0 00 FC"}, 0xFC, '2'},
      {"mega8", 0xFF, '3', {"58 00 00 00", "AC E0 00 FC"}, 0xFC, '2'},
      {"mega8", 0xCF, '1', {"58 00 00 00", "AC E0 00 CE"}, 0xCE, '1'},  // boot lock bits kept
      {"tiny13", 0xFF, '1', {"AC E0 00 FE"}, 0xFE, '1'},                // no _LOCK list
      {"tiny13", 0xFF, '2', {"AC E0 00 FC"}, 0xFC, '2'},
      {"90S2313", 0xFF, '1', {"AC FD 00 00"}, 0xFE, '1'},
      {"90S4434", 0xFF, '2', {"AC F9 00 00"}, 0xFC, '2'},
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip, {}, {}, [&](vt::chip_state& s) { s.lock = c.lock_before; });
    b.start();
    EXPECT_EQ(lock_chip(c.level), c.returned);
    EXPECT_EQ(b.framed_hex(), c.sent) << c.chip << " " << c.level;
    EXPECT_EQ(b.adapter->delays().back(), isp_chip.erase_wait);
    EXPECT_EQ(b.contents().lock & 0x3F, c.lock_after & 0x3F) << c.chip << " " << c.level;
  }
}

}  // namespace

// The -f fuse list parsed against the requested chip's fuse set.
#include <gtest/gtest.h>

#include <string>

#include "isp/fuse_list.h"
#include "isp/isp_chip.h"
#include "tests/support/status_of.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::chip_bench;

TEST(FuseList, AcceptedLists) {
  const struct {
    const char* chip;
    std::string list;
    int byte;
    uint8_t mask, value;
  } cases[] = {
      {"mega8", "CKSEL=2,SUT=1", 1, 0x3F, 0x12},
      {"mega8", "BODEN=ON", 1, 0x40, 0x00},
      {"mega8", "BODEN=off", 1, 0x40, 0x40},
      {"mega8", "_high=D9", 2, 0xFF, 0xD9},
      {"mega8", "_LOCK=0", 0, 0xFC, 0x00},
      {"mega8", "BLEV=1", 1, 0x80, 0x80},  // alternate name of BODLEVEL
      {"mega8", "eesv=0,bootsz=2", 2, 0x0E, 0x04},
      {"mega8", ",,CKSEL=0x3,,", 1, 0x0F, 0x03},
      {"mega8", "BLB1=2,BLB0=1", 0, 0x3C, 0x24},
      {"mega8", "CKSEL=" + std::string(57, '0') + "2", 1, 0x0F, 0x02},  // 64 characters
      {"tiny2313", "SELFPRGEN=0", 3, 0x01, 0x00},
      {"90S4433", "CKSEL=2", 1, 0x07, 0x02},
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
      {"mega8", "CKSEL=2,CKSEL=3", "Duplicate fuse CKSEL in command line\n"},
      {"mega8", "_LOW=FF,CKSEL=2", "Duplicate fuse CKSEL in command line\n"},
      {"mega8", "CKSEL=2,_LOW=FF", "Duplicate fuse _LOW in command line\n"},
      {"mega8", "_high=1,_HIGH=2", "Duplicate fuse _HIGH in command line\n"},
      {"mega8", "_EXT=1", "Fuse byte '_EXT' not exist in mega8|mega8A\n"},
      {"mega8", "XYZ=1", "Invalid fuse name XYZ\n"},
      {"mega8", "CKSEL", "Value required for fuse CKSEL\n"},
      {"mega8", "CKSEL=", "Value required for fuse CKSEL\n"},
      {"mega8", "_LOW", "Value required for fuse _LOW\n"},
      {"mega8", "CKSEL=zz", "Invalid value 'zz' for fuse 'CKSEL'\n"},
      {"mega8", "_LOW=100", "Value 100 too large for fuse byte _LOW\n"},
      {"mega8", "CKSEL=" + std::string(58, '0') + "2", "Fuse command too long\n"},  // 65 characters
      {"90S1200", "CKSEL=1", "90S1200 has no ISP-writable fuses\n"},
      {"90S4433", "_HIGH=1", "Fuse byte '_HIGH' not exist in 90S4433\n"},
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    EXPECT_EQ(status_of([&] { parse_fuse_list(c.list.c_str()); }), 70) << c.list;
    EXPECT_EQ(b.messages(), c.message) << c.list;
    for (int i = 0; i < 4; ++i) EXPECT_EQ(isp_chip.fuse_request[i].mask, 0) << "nothing applied in part";
  }
}

TEST(FuseList, DefinedBitsAndDebugLines) {
  chip_bench b("tiny2313", "tiny2313");
  parse_fuse_list("EESAVE=0,_low=64");
  EXPECT_EQ(isp_chip.fuse_read[0].defined, 0x00);
  EXPECT_EQ(isp_chip.fuse_read[1].defined, 0xFF);
  EXPECT_EQ(isp_chip.fuse_read[2].defined, 0xDF);  // bit 5 of the high byte is no field
  EXPECT_EQ(isp_chip.fuse_read[3].defined, 0x01);
  EXPECT_EQ(b.output(), "\t% Fuse added: EESAVE=0\n\t% Fuse byte added: _low=64\n");
}

}  // namespace

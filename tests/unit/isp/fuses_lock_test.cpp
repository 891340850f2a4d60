// Fuse reading, programming and verifying, lock state and locking, against the chip model.
#include <gtest/gtest.h>

#include "isp/fuse_list.h"
#include "isp/fuses.h"
#include "isp/isp_chip.h"
#include "isp/lock.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::chip_bench;

TEST(Fuses, ProgrammingWritesOnlyRequestedBytesAndKeepsTheRest) {
  const struct {
    const char* chip;
    const char* list;
    std::vector<std::string> writes;  // fuse and lock write instructions, in order
    int fuse_index;                   // chip model's fuse byte to check, -1 for the lock byte
    uint8_t chip_value;
  } cases[] = {
      {"mega8", "CKSEL=4", {"AC A0 00 E4"}, 0, 0xE4},                     // read E1, CKSEL changed
      // Undescribed bit 5 (SPIEN) is sent as 1; the chip keeps SPIEN programmed whatever is sent.
      {"tiny2313", "EESAVE=0", {"AC A8 00 BF"}, 1, 0x9F},
      {"90S4433", "CKSEL=2", {"AC BA 00 00"}, 0, 0xDA},                   // read DA: fuse bits in byte 1
      {"90S4433", "CKSEL=5,BODEN=ON", {"AC B5 00 00"}, 0, 0xD5},
      {"90S4434", "FSTRT=0", {"AC BE 00 00"}, 0, 0xDE},                   // fuse type 1
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
    EXPECT_NE(b.output().find("Programming fuses\n"), std::string::npos);
    EXPECT_NE(b.messages().find("Verifying fuses\npassed\n"), std::string::npos) << b.output();
  }
}

TEST(Fuses, ReadInstructionsByFuseType) {
  struct {
    const char* chip;
    std::vector<std::string> reads;
  } cases[] = {{"90S2313", {}},
               {"90S4434", {"58 00 00 00"}},
               {"90S4433", {"50 00 00 00"}},
               {"tiny13", {"50 00 00 00", "58 08 00 00"}},
               {"mega8", {"50 00 00 00", "58 00 00 00", "58 08 00 00"}},
               {"mega328P", {"50 00 00 00", "58 00 00 00", "58 08 00 00", "50 08 00 00"}}};
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip);
    b.start();
    read_fuses();
    EXPECT_EQ(b.framed_hex(), c.reads) << c.chip;
  }
}

TEST(Fuses, VerifyReportsEveryDifferingField) {
  // A write-locked chip ignores the fuse writes.
  chip_bench b("mega8", "mega8", {}, {}, [](vt::chip_state& s) { s.lock = 0xFC; });
  b.start();
  parse_fuse_list("CKSEL=4,SUT=0,BODEN=1");
  read_fuses();
  program_fuses();
  b.clear_output();
  EXPECT_FALSE(verify_fuses());
  EXPECT_EQ(b.messages(),
            "Verifying fuses\n"
            "  SUT     : expected 0, read 2\n"
            "  CKSEL   : expected 4, read 1\n"
            "Verifying of fuses failed\n");
}

TEST(Lock, StateForEachLockType) {
  const struct {
    const char* chip;
    uint8_t lock;  // chip model's lock bits
    int state;
    size_t reads;
  } cases[] = {
      {"90S2313", 0xFC, -1, 0},                                                     // type 0
      {"90S4434", 0xFF, 0, 1}, {"90S4434", 0xFE, 1, 1}, {"90S4434", 0xFC, 2, 1},  // type 1
      {"90S4433", 0xFF, 0, 1}, {"90S4433", 0xFE, 1, 1}, {"90S4433", 0xFD, 2, 1},  // type 2
      {"mega8", 0xFF, 0, 1},   {"mega8", 0xFE, 1, 1},   {"mega8", 0xFC, 2, 1},    // type 3
  };
  const char* texts[] = {"Lock state unknown\n", "Chip not locked\n", "Chip locked - programming disabled\n",
                         "Chip locked - reading and programming disabled\n"};
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip, {}, {}, [&](vt::chip_state& s) { s.lock = c.lock; });
    b.start();
    read_lock_state();
    EXPECT_EQ(isp_chip.lock_state, c.state) << c.chip << " " << int(c.lock);
    EXPECT_EQ(b.framed(0x58).size(), c.reads);
    print_lock_state();
    EXPECT_NE(b.output().find(texts[c.state + 1]), std::string::npos) << b.output();
  }
}

TEST(Lock, LockChipForEachLockType) {
  const struct {
    const char* chip;
    uint8_t lock_before;
    char level;
    std::vector<std::string> sent;
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
      {"90S4433", 0xFF, '1', {"AC FD 00 00"}, 0xFE, '1'},
  };
  for (const auto& c : cases) {
    chip_bench b(c.chip, c.chip, {}, {}, [&](vt::chip_state& s) { s.lock = c.lock_before; });
    b.start();
    EXPECT_EQ(lock_chip(c.level), c.returned);
    EXPECT_EQ(b.framed_hex(), c.sent) << c.chip << " " << c.level;
    EXPECT_EQ(b.adapter->delays().back(), isp_chip.erase_wait);
    EXPECT_EQ(b.contents().lock & 0x3F, c.lock_after & 0x3F) << c.chip << " " << c.level;
    EXPECT_NE(b.output().find("\t% Lock chip\tcommand AC"), std::string::npos);
  }
}

TEST(Lock, BootLockBitsThatNeedAnErase) {
  struct {
    uint8_t lock_read;
    const char* list;
    bool allowed;
  } cases[] = {{0xFF, "BLB0=0", true}, {0xCF, "BLB1=3", false}, {0xCF, "BLB1=0", true}, {0xCF, "CKSEL=1", true}};
  for (const auto& c : cases) {
    chip_bench b("mega8", "mega8");
    parse_fuse_list(c.list);
    isp_chip.fuse_read[0].value = c.lock_read;
    EXPECT_EQ(lock_allowed(), c.allowed) << c.list;
  }
  chip_bench b("90S4433", "90S4433");
  EXPECT_TRUE(lock_allowed());
}

}  // namespace

// The simulated chip driven pin by pin: echoes, identification, paging,
// AND-programming, busy answers, locks, fuses, erase, synchronisation.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "sim/chip/avr_chip.h"
#include "tests/support/isp_master.h"

namespace {

using vt::avr_chip;
using vt::chip_options;
using vt::chip_state;
using vt_test::isp_master;

// A chip on a test bench; its write times run on the master's line clock.
struct bench {
  explicit bench(const char* name, chip_options o = {}) {
    kind = vt::find_chip_kind(name);
    EXPECT_NE(kind, nullptr) << name;
    chip.reset(new avr_chip(*kind, chip_state::factory(*kind), o));
    m.reset(new isp_master(*chip));
    m->power_up();
  }
  const vt::chip_kind* kind = nullptr;
  std::unique_ptr<avr_chip> chip;
  std::unique_ptr<isp_master> m;
  void wait_ms(double ms) { m->step(uint64_t(ms * 1e6)); }
  uint32_t signature() {
    uint32_t s = 0;
    for (uint8_t i = 0; i < 3; ++i) s = (s << 8) | m->cmd(0x30, 0x00, i, 0x00)[3];
    return s;
  }
  uint8_t flash(uint32_t a) { return m->cmd(a & 1 ? 0x28 : 0x20, uint8_t(a >> 9), uint8_t(a >> 1), 0)[3]; }
  uint8_t eeprom(uint32_t a) { return m->cmd(0xA0, uint8_t(a >> 8), uint8_t(a), 0)[3]; }
  void load(uint32_t a, uint8_t v) { m->cmd(a & 1 ? 0x48 : 0x40, uint8_t(a >> 9), uint8_t(a >> 1), v); }
  void write_page(uint32_t a) { m->cmd(0x4C, uint8_t(a >> 9), uint8_t(a >> 1), 0); }
  void write_eeprom(uint32_t a, uint8_t v) { m->cmd(0xC0, uint8_t(a >> 8), uint8_t(a), v); }
};

TEST(AvrChip, SignaturesFromTheDatasheets) {
  struct row {
    const char* name;
    uint32_t sig;
  } rows[] = {{"mega8", 0x1E9307}, {"ATmega8A", 0x1E9307}, {"tiny13A", 0x1E9007}, {"90S2313", 0x1E9101},
              {"mega2560", 0x1E9801}, {"mega328P", 0x1E950F}, {"tiny2313", 0x1E910A}, {"mega128RFA1", 0x1EA701}};
  for (const row& r : rows) {
    bench b(r.name);
    EXPECT_EQ(b.m->enable(), 0x53) << r.name;
    EXPECT_EQ(b.signature(), r.sig) << r.name;
  }
}

TEST(AvrChip, EveryInstructionEchoesItsFirstTwoBytes) {
  bench b("mega8");
  ASSERT_EQ(b.m->enable(), 0x53);
  const uint8_t cmds[][4] = {{0x30, 0x00, 0x01, 0x00}, {0x20, 0x00, 0x10, 0x00}, {0xA0, 0x01, 0x02, 0x00},
                             {0x58, 0x08, 0x00, 0x00}, {0x38, 0x00, 0x00, 0x00}, {0x40, 0x00, 0x03, 0x55}};
  for (const auto& c : cmds) {
    auto r = b.m->cmd(c[0], c[1], c[2], c[3]);
    EXPECT_EQ(r[1], c[0]);
    EXPECT_EQ(r[2], c[1]);
  }
}

TEST(AvrChip, PagedFlashIsProgrammedByAnd) {
  bench b("mega8");
  ASSERT_EQ(b.m->enable(), 0x53);
  for (uint32_t a = 64; a < 128; ++a) b.load(a, uint8_t(0xF0 | (a & 0x0F)));
  b.write_page(64);
  EXPECT_EQ(b.flash(65), 0xFF) << "busy: the page reads 0xFF while it is written";
  b.wait_ms(4.5);
  EXPECT_EQ(b.flash(64), 0xF0);
  EXPECT_EQ(b.flash(79), 0xFF);
  EXPECT_EQ(b.flash(63), 0xFF);
  // The buffer was emptied by the write; a second page over the old contents ANDs.
  b.load(64, 0x3C);
  b.write_page(64);
  b.wait_ms(4.5);
  EXPECT_EQ(b.flash(64), 0x30);
  EXPECT_EQ(b.flash(65), 0xF1);
}

TEST(AvrChip, ResetEndsProgrammingAndLosesThePageBuffer) {
  bench b("mega8");
  ASSERT_EQ(b.m->enable(), 0x53);
  b.load(0, 0x12);
  b.m->reset_pulse();
  EXPECT_NE(b.m->cmd(0x20, 0, 0, 0)[1], 0x20) << "not in programming mode: no echo";
  ASSERT_EQ(b.m->enable(), 0x53);
  b.write_page(0);
  b.wait_ms(5);
  EXPECT_EQ(b.flash(0), 0xFF);
  b.m->lines.reset = true;
  b.m->step(1000);
  EXPECT_TRUE(b.chip->miso(b.m->t)) << "MISO floats high while RESET is high";
}

TEST(AvrChip, ByteWiseFlashAndEeprom) {
  bench b("90S2313");
  ASSERT_EQ(b.m->enable(), 0x53);
  b.m->cmd(0x40, 0x00, 0x05, 0xA5);
  EXPECT_EQ(b.flash(10), 0x7F);
  b.wait_ms(4);
  EXPECT_EQ(b.flash(10), 0xA5);
  b.m->cmd(0x40, 0x00, 0x05, 0x5A);
  b.wait_ms(4);
  EXPECT_EQ(b.flash(10), 0x00) << "old AND new";
  b.write_eeprom(3, 0x00);
  b.wait_ms(4);
  b.write_eeprom(3, 0xC3);
  b.wait_ms(4);
  EXPECT_EQ(b.eeprom(3), 0xC3) << "EEPROM bytes are erased and written";
}

TEST(AvrChip, ValuesReadWhileBusy) {
  struct row {
    const char* name;
    bool eeprom;
    uint8_t early, late;  // read at once and after 3/4 of the write time
  } rows[] = {
      {"90S2313", false, 0x7F, 0x7F}, {"90S2313", true, 0x80, 0x7F}, {"90S4434", true, 0x00, 0xFF},
      {"mega8", true, 0xFF, 0xFF},    {"tiny13", true, 0xFF, 0xFF},  {"90S1200", true, 0x11, 0x11},
  };
  for (const row& r : rows) {
    bench b(r.name);
    b.m->enable();
    double ms = r.eeprom ? b.kind->eeprom_write_ms : b.kind->flash_write_ms;
    if (r.eeprom) {
      b.write_eeprom(1, 0x11);
      b.wait_ms(ms);
      b.write_eeprom(1, 0x42);
    } else {
      b.m->cmd(0x40, 0, 0, 0x42);
    }
    auto read = [&] { return r.eeprom ? b.eeprom(1) : b.flash(0); };
    EXPECT_EQ(read(), r.early) << r.name;
    b.wait_ms(ms * 0.75);
    EXPECT_EQ(read(), r.late) << r.name;
    b.wait_ms(ms * 0.3);
    EXPECT_EQ(read(), 0x42) << r.name;
  }
}

// The wait times of the chips' datasheets (serial programming: t_WD_FLASH for
// a page, t_WD_EEPROM, t_WD_ERASE): RDY/BSY reads busy shortly before each
// has passed and ready shortly after.
TEST(AvrChip, WriteAndEraseTimesFromTheDatasheets) {
  struct row {
    const char* name;
    double page_ms, eeprom_ms, erase_ms;
  } rows[] = {
      {"mega8", 4.5, 9.0, 9.0},     {"mega16", 4.5, 9.0, 9.0},     {"mega64", 4.5, 9.0, 9.0},
      {"mega8515", 4.5, 9.0, 9.0},  {"mega168", 4.5, 3.6, 9.0},    {"mega328P", 2.6, 3.6, 10.5},
      {"mega644P", 4.5, 9.0, 9.0},  {"mega1284P", 4.5, 9.0, 9.0},  {"mega2560", 4.5, 9.0, 9.0},
      {"mega32U4", 4.5, 9.0, 9.0},  {"tiny13", 4.5, 4.0, 9.0},     {"tiny2313", 4.5, 4.0, 9.0},
      {"tiny85", 4.5, 4.0, 9.0},    {"tiny84", 4.5, 4.0, 9.0},     {"tiny26", 4.5, 9.0, 9.0},
  };
  for (const row& r : rows) {
    bench b(r.name);
    ASSERT_EQ(b.m->enable(), 0x53) << r.name;
    auto busy = [&] { return (b.m->cmd(0xF0, 0, 0xFF, 0)[3] & 1) != 0; };
    // A poll answers 0.24 ms after it starts and takes 0.32 ms in all (10 us per bit).
    auto lasts = [&](double ms, const char* what) {
      b.wait_ms(ms - 0.35);
      EXPECT_TRUE(busy()) << r.name << " " << what << " ends early";
      b.wait_ms(0.7);
      EXPECT_FALSE(busy()) << r.name << " " << what << " ends late";
    };
    b.load(1, 0x12);
    b.write_page(0);
    lasts(r.page_ms, "page write");
    b.write_eeprom(1, 0x34);
    lasts(r.eeprom_ms, "EEPROM write");
    b.m->cmd(0xAC, 0x80, 0, 0);
    lasts(r.erase_ms, "chip erase");
  }
}

TEST(AvrChip, RdyBsyAndWritesIgnoredWhileBusy) {
  bench b("tiny13");
  b.m->enable();
  EXPECT_EQ(b.m->cmd(0xF0, 0, 0xFF, 0)[3] & 1, 0);
  b.write_eeprom(0, 0x01);
  EXPECT_EQ(b.m->cmd(0xF0, 0, 0xFF, 0)[3] & 1, 1);
  b.write_eeprom(1, 0x02);  // ignored
  b.wait_ms(4.0);
  EXPECT_EQ(b.m->cmd(0xF0, 0, 0xFF, 0)[3] & 1, 0);
  EXPECT_EQ(b.eeprom(0), 0x01);
  EXPECT_EQ(b.eeprom(1), 0xFF);
}

TEST(AvrChip, ChipEraseKeepsEepromOnlyWithEesave) {
  for (bool eesave : {false, true}) {
    bench b("mega8");
    b.m->enable();
    b.load(0, 0x00);
    b.write_page(0);
    b.wait_ms(5);
    b.write_eeprom(7, 0x77);
    b.wait_ms(9);
    if (eesave) {
      b.m->cmd(0xAC, 0xA8, 0x00, 0xD1);  // high fuse with EESAVE programmed
      b.wait_ms(5);
      EXPECT_EQ(b.m->cmd(0x58, 0x08, 0, 0)[3], 0xD1);
    }
    b.m->cmd(0xAC, 0x80, 0x00, 0x00);
    b.wait_ms(9);
    EXPECT_EQ(b.flash(0), 0xFF);
    EXPECT_EQ(b.eeprom(7), eesave ? 0x77 : 0xFF);
    EXPECT_EQ(b.m->cmd(0x58, 0x08, 0, 0)[3], eesave ? 0xD1 : 0xD9) << "fuses survive the erase";
  }
}

TEST(AvrChip, LockBitsBlockWritingThenReadingUntilErase) {
  bench b("mega8");
  b.m->enable();
  b.write_eeprom(0, 0x5A);
  b.wait_ms(9);
  b.m->cmd(0xAC, 0xE0, 0x00, 0xFE);  // LB1: no more writing
  EXPECT_EQ(b.m->cmd(0x58, 0, 0, 0)[3], 0xFF) << "takes effect after its write time";
  b.wait_ms(4.5);
  EXPECT_EQ(b.m->cmd(0x58, 0, 0, 0)[3], 0xFE);
  b.write_eeprom(0, 0x11);
  b.wait_ms(9);
  EXPECT_EQ(b.eeprom(0), 0x5A);
  b.m->cmd(0xAC, 0xE0, 0x00, 0xFF);  // cannot unprogram
  b.wait_ms(4.5);
  b.m->cmd(0xAC, 0xE0, 0x00, 0xFD);  // LB2 too: no reading either
  b.wait_ms(4.5);
  EXPECT_EQ(b.m->cmd(0x58, 0, 0, 0)[3], 0xFC);
  EXPECT_NE(b.eeprom(0), 0x5A);
  b.m->cmd(0xAC, 0x80, 0, 0);
  b.wait_ms(9);
  EXPECT_EQ(b.m->cmd(0x58, 0, 0, 0)[3], 0xFF);
}

TEST(AvrChip, OldLockFormsAndProtectedSignature) {
  bench b("90S8515");
  b.m->enable();
  b.m->cmd(0xAC, 0xFD, 0, 0);  // LB1 only
  b.wait_ms(4.5);
  EXPECT_EQ(b.signature(), 0x1E9301u);
  b.m->cmd(0xAC, 0xF9, 0, 0);  // both
  b.wait_ms(4.5);
  EXPECT_EQ(b.signature(), 0x000102u);

  bench c("90S4434");  // lock bits in bits 7 and 6 of the 58 reply, with the fuses
  c.m->enable();
  EXPECT_EQ(c.m->cmd(0x58, 0, 0, 0)[3] & 0xC0, 0xC0);
  c.m->cmd(0xAC, 0xF9, 0, 0);
  c.wait_ms(4.5);
  EXPECT_EQ(c.m->cmd(0x58, 0, 0, 0)[3] & 0xC0, 0x00);

  bench d("tiny12");  // bits 1 and 2
  d.m->enable();
  d.m->cmd(0xAC, 0xFD, 0, 0);
  d.wait_ms(4.5);
  EXPECT_EQ(d.m->cmd(0x58, 0, 0, 0)[3] & 0x06, 0x04);
}

TEST(AvrChip, FuseForms) {
  bench b("mega8");
  b.m->enable();
  EXPECT_EQ(b.m->cmd(0x50, 0, 0, 0)[3], 0xE1);
  EXPECT_EQ(b.m->cmd(0x58, 0x08, 0, 0)[3], 0xD9);
  b.m->cmd(0xAC, 0xA0, 0, 0xE4);
  b.wait_ms(4.5);
  EXPECT_EQ(b.m->cmd(0x50, 0, 0, 0)[3], 0xE4);
  b.m->cmd(0xAC, 0xA8, 0, 0xFF);  // SPIEN stays programmed
  b.wait_ms(4.5);
  EXPECT_EQ(b.m->cmd(0x58, 0x08, 0, 0)[3], 0xDF);

  bench o("90S2333");  // fuse bits in the low five bits of byte 1, read with 50
  o.m->enable();
  EXPECT_EQ(o.m->cmd(0x50, 0, 0, 0)[3], 0xDA);
  o.m->cmd(0xAC, 0xA0 | 0x1F, 0, 0);
  o.wait_ms(4.5);
  EXPECT_EQ(o.m->cmd(0x50, 0, 0, 0)[3], 0xDF);

  bench t("90S2343");  // RCEN in bit 0 of the 58 reply
  t.m->enable();
  EXPECT_EQ(t.m->cmd(0x58, 0, 0, 0)[3] & 0x01, 0);
  t.m->cmd(0xAC, 0xBF, 0, 0);
  t.wait_ms(4.5);
  EXPECT_EQ(t.m->cmd(0x58, 0, 0, 0)[3] & 0x01, 1);
}

TEST(AvrChip, CalibrationBytes) {
  struct row {
    const char* name;
    int count;
  } rows[] = {{"mega8", 4}, {"tiny13", 2}, {"mega48", 1}, {"90S2313", 0}};
  for (const row& r : rows) {
    bench b(r.name);
    b.m->enable();
    for (uint8_t i = 0; i < 4; ++i) {
      uint8_t v = b.m->cmd(0x38, 0, i, 0)[3];
      if (i < r.count) {
        EXPECT_NE(v, 0xFF) << r.name << " " << int(i);
      } else {
        EXPECT_EQ(v, 0xFF) << r.name << " " << int(i);
      }
    }
  }
}

TEST(AvrChip, LargeFlashUsesTheExtendedAddress) {
  bench b("mega2560");
  b.m->enable();
  b.m->cmd(0x4D, 0, 1, 0);  // second 128 KB bank
  b.m->cmd(0x40, 0, 0, 0x99);
  b.m->cmd(0x4C, 0, 0, 0);
  b.wait_ms(5);
  EXPECT_EQ(b.flash(0), 0x99);  // still the second bank
  b.m->cmd(0x4D, 0, 0, 0);
  EXPECT_EQ(b.flash(0), 0xFF);
  EXPECT_EQ(b.chip->state().flash[0x20000], 0x99);
}

TEST(AvrChip, OutOfStepUntilResetPulses) {
  chip_options o;
  o.out_of_step = 2;
  bench b("mega8", o);
  EXPECT_NE(b.m->enable(), 0x53);
  b.m->reset_pulse();
  EXPECT_NE(b.m->enable(), 0x53);
  b.m->reset_pulse();
  EXPECT_EQ(b.m->enable(), 0x53);
  EXPECT_EQ(b.signature(), 0x1E9307u);
}

TEST(AvrChip, OldChipsResyncBySckPulses) {
  chip_options o;
  o.out_of_step = 3;
  bench b("90S2313", o);
  int tries = 1;
  while (b.m->enable() != 0x53 && tries < 40) {
    b.m->sck_pulse();
    ++tries;
  }
  EXPECT_EQ(tries, 4);
  EXPECT_EQ(b.signature(), 0x1E9101u);
}

TEST(AvrChip, NoEchoFrom90S1200) {
  bench b("90S1200");
  EXPECT_NE(b.m->enable(), 0x53);
  EXPECT_EQ(b.signature(), 0x1E9001u);
}

TEST(AvrChip, LosesStepAfterInstructions) {
  chip_options o;
  o.lose_step_after = 3;
  bench b("mega8", o);
  ASSERT_EQ(b.m->enable(), 0x53);
  EXPECT_EQ(b.signature(), 0x1E9307u);
  EXPECT_NE(b.m->cmd(0x30, 0, 0, 0)[1], 0x30);
}

TEST(AvrChip, SckTooFastForTheClock) {
  struct row {
    double osc;
    uint64_t half_ns;
    bool works;
  } rows[] = {{1e6, 2100, true}, {1e6, 1900, false}, {16e6, 190, true}, {16e6, 180, false}, {8e6, 260, true}};
  for (const row& r : rows) {
    chip_options o;
    o.osc_hz = r.osc;
    bench b("mega8", o);
    b.m->half_ns = r.half_ns;
    EXPECT_EQ(b.m->enable() == 0x53 && b.signature() == 0x1E9307u, r.works) << r.osc << " " << r.half_ns;
  }
}

TEST(AvrChip, ClockedFromXtal) {
  chip_options o;
  o.osc_xtal = true;
  bench still("mega8", o);
  EXPECT_NE(still.m->enable(), 0x53) << "no XTAL edges: the chip's clock stands still";
  bench b("mega8", o);
  b.m->xtal_per_step = true;
  b.m->reset_pulse();
  EXPECT_EQ(b.m->enable(), 0x53);
  EXPECT_EQ(b.signature(), 0x1E9307u);
}

TEST(AvrChip, StateFileRoundTrip) {
  const vt::chip_kind* k = vt::find_chip_kind("tiny13");
  chip_state s = chip_state::factory(*k);
  s.flash[5] = 0x12;
  s.eeprom[63] = 0x00;
  s.fuse[1] = 0xFB;
  s.lock = 0xFC;
  s.erase_cycles = 7;
  std::string path = ::testing::TempDir() + "vt_state_test.txt";
  std::string err;
  ASSERT_TRUE(vt::save_chip_state(path, s, err)) << err;
  chip_state r;
  ASSERT_TRUE(vt::load_chip_state(path, r, err)) << err;
  EXPECT_EQ(r.chip, "tiny13");
  EXPECT_EQ(r.flash, s.flash);
  EXPECT_EQ(r.eeprom, s.eeprom);
  EXPECT_EQ(r.fuse[1], 0xFB);
  EXPECT_EQ(r.lock, 0xFC);
  EXPECT_EQ(r.erase_cycles, 7u);
  std::remove(path.c_str());
}

TEST(AvrChip, EveryChipOfTheListIsKnownWithConsistentSizes) {
  EXPECT_EQ(vt::chip_kinds().size(), 112u);
  for (const auto& k : vt::chip_kinds()) {
    EXPECT_EQ(k.signature >> 16, 0x1Eu) << k.name();
    EXPECT_EQ(k.flash_bytes & (k.flash_bytes - 1), 0u) << k.name();
    if (k.paged()) {
      EXPECT_EQ(k.flash_bytes % k.page_bytes, 0u) << k.name();
    }
    EXPECT_LT(k.erase_ms, 60.0) << k.name();
  }
}

}  // namespace

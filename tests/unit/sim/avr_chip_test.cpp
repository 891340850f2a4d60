// The simulated chip driven pin by pin, against the datasheets' facts: identity,
// echoes, paging, AND-programming, busy answers and write times, locks, fuses,
// erase, synchronisation and SCK timing.
#include <gtest/gtest.h>

#include <memory>

#include "sim/chip/avr_chip.h"
#include "tests/support/isp_master.h"
#include "tests/support/vt_run.h"

namespace {

using vt::chip_state;

// A chip on a test bench; its write times run on the master's line clock.
struct bench {
  explicit bench(const char* name, vt::chip_options o = {}) : kind(vt::find_chip_kind(name)) {
    EXPECT_NE(kind, nullptr) << name;
    chip.reset(new vt::avr_chip(*kind, chip_state::factory(*kind), o));
    m.reset(new vt_test::isp_master(*chip));
    m->power_up();
    echoes = kind->signature != 0x1E9001;  // but the AT90S1200's
  }
  const vt::chip_kind* kind;
  std::unique_ptr<vt::avr_chip> chip;
  std::unique_ptr<vt_test::isp_master> m;
  void wait_ms(double ms) { m->step(uint64_t(ms * 1e6)); }
  void put(uint8_t a, uint8_t b, uint8_t c, uint8_t d, double ms = 0) { in(a, b, c, d), wait_ms(ms); }
  bool echoes = true;  // every instruction's first two bytes come back as reply bytes 1 and 2
  uint8_t in(uint8_t a, uint8_t b = 0, uint8_t c = 0, uint8_t d = 0) {
    const auto r = m->cmd(a, b, c, d);
    EXPECT_TRUE(!echoes || (r[1] << 8 | r[2]) == (a << 8 | b)) << "echo of " << int(a);
    return r[3];
  }
  uint32_t signature() { return uint32_t(in(0x30, 0, 0) << 16 | in(0x30, 0, 1) << 8 | in(0x30, 0, 2)); }
  uint8_t flash(uint32_t a) { return in(a & 1 ? 0x28 : 0x20, uint8_t(a >> 9), uint8_t(a >> 1)); }
  uint8_t eeprom(uint32_t a) { return in(0xA0, uint8_t(a >> 8), uint8_t(a)); }
  void load(uint32_t a, uint8_t v) { put(a & 1 ? 0x48 : 0x40, uint8_t(a >> 9), uint8_t(a >> 1), v); }
  void write_page(uint32_t a, double ms = 0) { put(0x4C, uint8_t(a >> 9), uint8_t(a >> 1), 0, ms); }
  void write_eeprom(uint32_t a, uint8_t v, double ms = 0) { put(0xC0, uint8_t(a >> 8), uint8_t(a), v, ms); }
  bool busy() { return in(0xF0, 0, 0xFF) & 1; }
};

TEST(AvrChip, SignaturesAndCalibrationBytesFromTheDatasheets) {
  const struct {
    const char* name;
    uint32_t sig;
    int calibration;  // bytes with factory values; -1: not checked
  } rows[] = {{"mega8", 0x1E9307, 4},   {"ATmega8A", 0x1E9307, -1}, {"tiny13A", 0x1E9007, -1},
              {"tiny13", 0x1E9007, 2},  {"mega48", 0x1E9205, 1},    {"90S2313", 0x1E9101, 0},
              {"mega2560", 0x1E9801, -1}, {"mega328P", 0x1E950F, -1}, {"tiny2313", 0x1E910A, -1},
              {"mega128RFA1", 0x1EA701, -1}};
  for (const auto& r : rows) {
    bench b(r.name);
    EXPECT_EQ(b.m->enable(), 0x53) << r.name;
    EXPECT_EQ(b.signature(), r.sig) << r.name;
    for (uint8_t i = 0; r.calibration >= 0 && i < 4; ++i)
      EXPECT_EQ(b.in(0x38, 0, i) != 0xFF, i < r.calibration) << r.name << " calibration " << int(i);
  }
  EXPECT_EQ(vt::chip_kinds().size(), 112u);
}

TEST(AvrChip, PagedFlashIsProgrammedByAndAndResetLosesThePageBuffer) {
  bench b("mega8");
  ASSERT_EQ(b.m->enable(), 0x53);
  for (uint32_t a = 64; a < 128; ++a) b.load(a, uint8_t(0xF0 | (a & 0x0F)));
  b.write_page(64);
  EXPECT_EQ(b.flash(65), 0xFF) << "busy: the page reads 0xFF while it is written";
  b.wait_ms(4.5);
  EXPECT_EQ(b.flash(64), 0xF0);
  EXPECT_EQ(b.flash(79), 0xFF);
  EXPECT_EQ(b.flash(63), 0xFF);
  b.load(64, 0x3C);  // the write emptied the buffer: a second page over the old contents ANDs
  b.write_page(64, 4.5);
  EXPECT_EQ(b.flash(64), 0x30);
  EXPECT_EQ(b.flash(65), 0xF1);
  b.load(0, 0x12);
  b.m->reset_pulse();
  EXPECT_NE(b.m->cmd(0x20, 0, 0, 0)[1], 0x20) << "not in programming mode: no echo";
  ASSERT_EQ(b.m->enable(), 0x53);
  b.write_page(0, 5);
  EXPECT_EQ(b.flash(0), 0xFF);
  b.m->lines.reset = true;
  b.m->step(1000);
  EXPECT_TRUE(b.chip->miso(b.m->t)) << "MISO floats high while RESET is high";
}

TEST(AvrChip, ByteWiseFlashAndsEepromOverwrites) {
  bench b("90S2313");
  ASSERT_EQ(b.m->enable(), 0x53);
  for (uint8_t v : {0xA5, 0x5A}) b.put(0x40, 0x00, 0x05, v, 4);
  EXPECT_EQ(b.flash(10), 0x00) << "old AND new";
  for (uint8_t v : {0x00, 0xC3}) b.write_eeprom(3, v, 4);
  EXPECT_EQ(b.eeprom(3), 0xC3);
}

TEST(AvrChip, ValuesReadWhileBusy) {
  const struct {
    const char* name;
    bool eeprom;
    uint8_t early, late;  // read at once and after 3/4 of the write time
  } rows[] = {{"90S2313", false, 0x7F, 0x7F}, {"90S2313", true, 0x80, 0x7F}, {"90S4434", true, 0x00, 0xFF},
              {"mega8", true, 0xFF, 0xFF},    {"90S1200", true, 0x11, 0x11}};
  for (const auto& r : rows) {
    bench b(r.name);
    b.m->enable();
    const double ms = r.eeprom ? b.kind->eeprom_write_ms : b.kind->flash_write_ms;
    if (r.eeprom) b.write_eeprom(1, 0x11, ms);
    r.eeprom ? b.write_eeprom(1, 0x42) : b.put(0x40, 0, 0, 0x42);
    auto read = [&] { return r.eeprom ? b.eeprom(1) : b.flash(0); };
    EXPECT_EQ(read(), r.early) << r.name;
    b.wait_ms(ms * 0.75);
    EXPECT_EQ(read(), r.late) << r.name;
    b.wait_ms(ms * 0.3);
    EXPECT_EQ(read(), 0x42) << r.name;
  }
}

// t_WD_FLASH (a page), t_WD_EEPROM and t_WD_ERASE of the datasheets: RDY/BSY
// reads busy shortly before each has passed and ready shortly after; writes
// while busy are ignored.
TEST(AvrChip, WriteAndEraseTimesFromTheDatasheets) {
  const struct {
    const char* name;
    double page_ms, eeprom_ms, erase_ms;
  } rows[] = {{"mega8", 4.5, 9.0, 9.0},    {"mega168", 4.5, 3.6, 9.0},  {"mega328P", 2.6, 3.6, 10.5},
              {"mega2560", 4.5, 9.0, 9.0}, {"tiny13", 4.5, 4.0, 9.0},   {"tiny26", 4.5, 9.0, 9.0}};
  for (const auto& r : rows) {
    bench b(r.name);
    ASSERT_EQ(b.m->enable(), 0x53) << r.name;
    // A poll answers 0.24 ms after it starts and takes 0.32 ms in all (10 us per bit).
    auto lasts = [&](double ms, const char* what) {
      b.wait_ms(ms - 0.35);
      EXPECT_TRUE(b.busy()) << r.name << " " << what << " ends early";
      b.wait_ms(0.7);
      EXPECT_FALSE(b.busy()) << r.name << " " << what << " ends late";
    };
    EXPECT_FALSE(b.busy());
    b.load(1, 0x12);
    b.write_page(0);
    lasts(r.page_ms, "page write");
    b.write_eeprom(1, 0x34);
    b.write_eeprom(2, 0x56);  // ignored; it took 0.32 ms of the write time
    lasts(r.eeprom_ms - 0.32, "EEPROM write");
    EXPECT_EQ(b.eeprom(1), 0x34);
    EXPECT_EQ(b.eeprom(2), 0xFF);
    b.put(0xAC, 0x80, 0, 0);
    lasts(r.erase_ms, "chip erase");
  }
}

TEST(AvrChip, ChipEraseKeepsEepromOnlyWithEesave) {
  for (bool eesave : {false, true}) {
    bench b("mega8");
    b.m->enable();
    b.load(0, 0x00);
    b.write_page(0, 5);
    b.write_eeprom(7, 0x77, 9);
    if (eesave) b.put(0xAC, 0xA8, 0x00, 0xD1, 5);  // high fuse with EESAVE programmed
    b.put(0xAC, 0x80, 0x00, 0x00, 9);
    EXPECT_EQ(b.flash(0), 0xFF);
    EXPECT_EQ(b.eeprom(7), eesave ? 0x77 : 0xFF);
    EXPECT_EQ(b.in(0x58, 0x08), eesave ? 0xD1 : 0xD9) << "fuses survive the erase";
  }
}

TEST(AvrChip, LockBitsBlockWritingThenReadingUntilErase) {
  bench b("mega8");
  b.m->enable();
  b.write_eeprom(0, 0x5A, 9);
  b.put(0xAC, 0xE0, 0x00, 0xFE);  // LB1: no more writing
  EXPECT_EQ(b.in(0x58), 0xFF) << "takes effect after its write time";
  b.wait_ms(4.5);
  EXPECT_EQ(b.in(0x58), 0xFE);
  b.write_eeprom(0, 0x11, 9);
  EXPECT_EQ(b.eeprom(0), 0x5A);
  b.put(0xAC, 0xE0, 0x00, 0xFF, 4.5);  // cannot unprogram
  b.put(0xAC, 0xE0, 0x00, 0xFD, 4.5);  // LB2 too: no reading either
  EXPECT_EQ(b.in(0x58), 0xFC);
  EXPECT_NE(b.eeprom(0), 0x5A);
  b.put(0xAC, 0x80, 0, 0, 9);
  EXPECT_EQ(b.in(0x58), 0xFF);
}

// Old forms: lock and fuse bits in byte 1 of the write, read back with 58 or 50.
TEST(AvrChip, OldLockAndFuseForms) {
  const struct {
    const char* name;
    uint8_t write, read, mask, before, after;
  } rows[] = {
      {"90S4434", 0xF9, 0x58, 0xC0, 0xC0, 0x00},  // both lock bits, in bits 7 and 6
      {"tiny12", 0xFD, 0x58, 0x06, 0x06, 0x04},   // LB1, in bits 1 and 2
      {"90S2333", 0xBF, 0x50, 0xFF, 0xDA, 0xDF},  // five fuse bits
      {"90S2343", 0xBF, 0x58, 0x01, 0x00, 0x01},  // RCEN in bit 0
  };
  for (const auto& r : rows) {
    bench b(r.name);
    b.m->enable();
    EXPECT_EQ(b.in(r.read) & r.mask, r.before) << r.name;
    b.put(0xAC, r.write, 0, 0, 4.5);
    EXPECT_EQ(b.in(r.read) & r.mask, r.after) << r.name;
  }
  bench s("90S8515");
  s.m->enable();
  s.put(0xAC, 0xFD, 0, 0, 4.5);  // LB1 only
  EXPECT_EQ(s.signature(), 0x1E9301u);
  s.put(0xAC, 0xF9, 0, 0, 4.5);  // both: the signature is hidden
  EXPECT_EQ(s.signature(), 0x000102u);
}

TEST(AvrChip, FusesAndSpienStaysProgrammed) {
  bench b("mega8");
  b.m->enable();
  EXPECT_EQ(b.in(0x50), 0xE1);
  EXPECT_EQ(b.in(0x58, 0x08), 0xD9);
  b.put(0xAC, 0xA0, 0, 0xE4, 4.5);
  EXPECT_EQ(b.in(0x50), 0xE4);
  b.put(0xAC, 0xA8, 0, 0xFF, 4.5);
  EXPECT_EQ(b.in(0x58, 0x08), 0xDF);
}

TEST(AvrChip, LargeFlashUsesTheExtendedAddress) {
  bench b("mega2560");
  b.m->enable();
  b.put(0x4D, 0, 1, 0);  // second 128 KB bank
  b.put(0x40, 0, 0, 0x99);
  b.put(0x4C, 0, 0, 0, 5);
  EXPECT_EQ(b.flash(0), 0x99);
  b.put(0x4D, 0, 0, 0);
  EXPECT_EQ(b.flash(0), 0xFF);
  EXPECT_EQ(b.chip->state().flash[0x20000], 0x99);
}

// Out of step: megas come back by RESET pulses, old AT90S by one SCK pulse a try.
TEST(AvrChip, SynchronisationFacts) {
  const struct {
    const char* name;
    int out_of_step, lose_after;
    bool sck_pulses;
    int tries;  // Programming Enables until 0x53 comes back; 0: never
  } rows[] = {{"mega8", 2, -1, false, 3}, {"90S2313", 3, -1, true, 4}, {"90S1200", 0, -1, false, 0},
              {"mega8", 0, 3, false, 1}};
  for (const auto& r : rows) {
    vt::chip_options o;
    o.out_of_step = r.out_of_step;
    o.lose_step_after = r.lose_after;
    bench b(r.name, o);
    int tries = 1;
    for (; b.m->enable() != 0x53 && tries < 10; ++tries) r.sck_pulses ? b.m->sck_pulse() : b.m->reset_pulse();
    EXPECT_EQ(tries, r.tries ? r.tries : 10) << r.name;
    EXPECT_EQ(b.signature(), b.kind->signature) << r.name;
    EXPECT_EQ(b.m->cmd(0x30, 0, 0, 0)[1] == 0x30, r.lose_after < 0) << r.name << " loses its step";
  }
}

// SCK low and high must each last more than 2 chip clocks (3 from 12 MHz on).
TEST(AvrChip, SckTooFastForTheClock) {
  const struct {
    double osc;
    uint64_t half_ns;
    bool works;
  } rows[] = {{1e6, 2100, true}, {1e6, 1900, false}, {16e6, 190, true}, {16e6, 180, false}, {8e6, 260, true}};
  for (const auto& r : rows) {
    vt::chip_options o;
    o.osc_hz = r.osc;
    bench b("mega8", o);
    b.m->half_ns = r.half_ns;
    b.echoes = r.works;
    EXPECT_EQ(b.m->enable() == 0x53 && b.signature() == 0x1E9307u, r.works) << r.osc << " " << r.half_ns;
  }
  vt::chip_options x;
  x.osc_xtal = true;
  bench still("mega8", x);
  EXPECT_NE(still.m->enable(), 0x53) << "no XTAL edges: the chip's clock stands still";
  bench b("mega8", x);
  b.m->xtal_per_step = true;
  b.m->reset_pulse();
  EXPECT_EQ(b.m->enable(), 0x53);
  EXPECT_EQ(b.signature(), 0x1E9307u);
}

TEST(AvrChip, StateFileRoundTrip) {
  chip_state s = chip_state::factory(*vt::find_chip_kind("tiny13")), r;
  s.flash[5] = 0x12;
  s.eeprom[63] = 0x00;
  s.fuse[1] = 0xFB;
  s.lock = 0xFC;
  s.erase_cycles = 7;
  vt_test::temp_dir dir;
  std::string err;
  ASSERT_TRUE(vt::save_chip_state(dir / "state", s, err)) << err;
  ASSERT_TRUE(vt::load_chip_state(dir / "state", r, err)) << err;
  EXPECT_EQ(r.chip, "tiny13");
  EXPECT_EQ(r.flash, s.flash);
  EXPECT_EQ(r.eeprom, s.eeprom);
  EXPECT_EQ(r.fuse[1], 0xFB);
  EXPECT_EQ(r.lock, 0xFC);
  EXPECT_EQ(r.erase_cycles, 7u);
}

}  // namespace

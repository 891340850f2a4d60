// The simulated chip driven pin by pin against the datasheets' facts: identity,
// echoes, paging, AND-programming, busy answers and write times, locks, fuses,
// erase, synchronisation and SCK timing.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>

#include "sim/chip/avr_chip.h"

namespace {

const vt::chip_kind& kind_of(const char* name) {
  return vt::find_chip_kind(name) ? *vt::find_chip_kind(name) : throw std::invalid_argument(name);
}

// A chip powered up with RESET low, and the test's own ISP master on its lines:
// SPI mode 0, most significant bit first, in modelled time.
struct bench {
  explicit bench(const char* name, vt::chip_options o = {})
      : kind(kind_of(name)), chip(kind, vt::chip_state::factory(kind), o), echoes(kind.signature != 0x1E9001) {
    lines.powered = true, step(100000), lines.reset = false, step(100000);
  }
  const vt::chip_kind& kind;
  vt::avr_chip chip;
  bool echoes;  // reply bytes 1 and 2 echo an instruction's first two (not on the AT90S1200)
  vt::target_lines lines;
  uint64_t t = 0, half_ns = 5000;  // SCK half period
  bool xtal = false;               // six XTAL edges within every step that takes time

  void step(uint64_t ns) {
    for (int i = 0; xtal && ns && i < 6; ++i) lines.xtal = !lines.xtal, chip.drive(t += ns / 8, lines);
    chip.drive(t += ns, lines);
  }
  void wait_ms(double ms) { step(uint64_t(ms * 1e6)); }
  void reset_pulse() { lines.reset = true, step(50000), lines.reset = false, step(50000); }
  void sck_pulse() { lines.sck = true, step(half_ns), lines.sck = false, step(half_ns); }
  // Each line change reaches the chip at once, then holds for half a period.
  uint8_t byte(uint8_t out) {
    uint8_t in = 0;
    for (int i = 7; i >= 0; --i) {
      lines.mosi = (out >> i) & 1;
      step(0), step(half_ns);
      lines.sck = true;
      step(0), step(half_ns);
      in = uint8_t(in << 1 | chip.miso(t));
      lines.sck = false, step(0);
    }
    return in;
  }
  uint8_t enable() {
    byte(0xAC), byte(0x53);
    const uint8_t echo = byte(0);
    return byte(0), echo;
  }
  uint8_t in(uint8_t a, uint8_t b = 0, uint8_t c = 0, uint8_t d = 0, bool in_step = true) {
    const uint8_t r1 = (byte(a), byte(b)), r2 = byte(c), r3 = byte(d);
    EXPECT_TRUE(!echoes || (r1 == a && r2 == b) == in_step) << "echo of " << std::hex << int(a);
    return r3;
  }
  uint32_t signature() { return uint32_t(in(0x30, 0, 0) << 16 | in(0x30, 0, 1) << 8 | in(0x30, 0, 2)); }
  bool busy() { return in(0xF0, 0, 0xFF) & 1; }
};

TEST(AvrChip, SignaturesAndCalibrationBytes) {
  // Calibration: the bytes with factory values; -1: not checked.
  const struct { const char* name; uint32_t sig; int calibration; } rows[] = {
      {"mega8", 0x1E9307, 4},    {"ATmega8A", 0x1E9307, -1}, {"tiny13A", 0x1E9007, -1},  {"tiny13", 0x1E9007, 2},
      {"mega48", 0x1E9205, 1},   {"90S2313", 0x1E9101, 0},   {"mega2560", 0x1E9801, -1}, {"mega328P", 0x1E950F, -1},
      {"tiny2313", 0x1E910A, -1}, {"mega128RFA1", 0x1EA701, -1}};
  for (const auto& r : rows) {
    bench b(r.name);
    EXPECT_EQ(b.enable(), 0x53) << r.name;
    EXPECT_EQ(b.signature(), r.sig) << r.name;
    for (uint8_t i = 0; r.calibration >= 0 && i < 4; ++i)
      EXPECT_EQ(b.in(0x38, 0, i) != 0xFF, i < r.calibration) << r.name << " calibration " << int(i);
  }
  EXPECT_EQ(vt::chip_kinds().size(), 112u);
}

// After a Programming Enable: "AABBCCDD" sends an instruction ("?AABBCCDD": one the chip must not echo),
// "=XX" or "=XX&MM" expects its reply byte 3 (masked), "!XX" anything else, "/MS" waits MS milliseconds,
// "R" pulses RESET.
TEST(AvrChip, InstructionScripts) {
  const struct { const char *chip, *what, *script; } rows[] = {
      {"mega8", "a page write ANDs the buffer into the page, then empties it; RESET loses a loaded buffer",
       "400000F0 480000F1 4C002000 28002000=FF /4.5 20002000=F0 28002000=F1 20002100=FF 28001F00=FF "
       "4000003C 4C002000/4.5 20002000=30 28002000=F1 40000012 R ?20000000 AC530000 4C000000/5 20000000=FF"},
      {"90S2313", "a FLASH byte write ANDs, an EEPROM byte write overwrites",
       "400005A5/4 4000055A/4 20000500=00 C0000300/4 C00003C3/4 A0000300=C3"},
      // Read at once while busy, after 3/4 of the write time, and after it.
      {"90S2313", "busy FLASH reads 7F", "40000042 20000000=7F /3 20000000=7F /1.2 20000000=42"},
      {"90S2313", "busy EEPROM reads 80, then 7F", "C0000111/4 C0000142 A0000100=80 /3 A0000100=7F /1.2 A0000100=42"},
      {"90S4434", "busy EEPROM reads 00, then FF", "C0000111/4 C0000142 A0000100=00 /3 A0000100=FF /1.2 A0000100=42"},
      {"mega8", "busy EEPROM reads FF", "C0000111/9 C0000142 A0000100=FF /6.75 A0000100=FF /2.7 A0000100=42"},
      {"90S1200", "busy EEPROM reads the old value", "C0000111/4 C0000142 A0000100=11 /3 A0000100=11 /1.2 A0000100=42"},
      {"mega8", "erase: FLASH and EEPROM FF, fuses kept",
       "40000000 4C000000/5 C0000777/9 AC800000/9 20000000=FF A0000700=FF 58080000=D9"},
      {"mega8", "erase with EESAVE programmed keeps the EEPROM",
       "C0000777/9 ACA800D1/5 AC800000/9 A0000700=77 58080000=D1"},
      {"mega8", "LB1 stops writing after its write time, LB2 reading; only an erase unprograms them",
       "C000005A/9 ACE000FE 58000000=FF /4.5 58000000=FE C0000011/9 A0000000=5A ACE000FF/4.5 ACE000FD/4.5 "
       "58000000=FC A0000000!5A AC800000/9 58000000=FF"},
      {"mega8", "fuses as written, SPIEN stays programmed",
       "50000000=E1 58080000=D9 ACA000E4/4.5 50000000=E4 ACA800FF/4.5 58080000=DF"},
      {"90S4434", "both lock bits, bits 7 and 6 of 58", "58000000=C0&C0 ACF90000/4.5 58000000=00&C0"},
      {"tiny12", "LB1, bits 1 and 2 of 58", "58000000=06&06 ACFD0000/4.5 58000000=04&06"},
      {"90S2333", "five fuse bits in byte 1, read with 50", "50000000=DA ACBF0000/4.5 50000000=DF"},
      {"90S2343", "RCEN, bit 0 of 58", "58000000=00&01 ACBF0000/4.5 58000000=01&01"},
      {"90S8515", "LB1 leaves the signature readable, both lock bits hide it",
       "ACFD0000/4.5 30000000=1E 30000100=93 30000200=01 ACF90000/4.5 30000000=00 30000100=01 30000200=02"},
      {"mega2560", "Load Extended Address selects the second 128 KB bank",
       "4D000100 40000099 4C000000/5 20000000=99 4D000000 20000000=FF 4D000100 20000000=99"},
  };
  for (const auto& r : rows) {
    bench b(r.chip);
    ASSERT_EQ(b.enable() == 0x53, b.echoes) << r.chip;
    std::istringstream in(r.script);
    uint8_t got = 0;
    for (std::string w; in >> w;) {
      unsigned v = 0, mask = 0xFF;
      const size_t quiet = w[0] == '?', check = w.find_first_of("=!"), wait = w.find('/');
      if (w == "R") b.reset_pulse();
      if (std::min(check, wait) > quiet && w != "R") {
        v = unsigned(std::stoul(w.substr(quiet, 8), nullptr, 16));
        got = b.in(uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v), !quiet);
      }
      if (check != std::string::npos) {
        std::sscanf(w.c_str() + check + 1, "%x&%x", &v, &mask);
        EXPECT_EQ((got & mask) == v, w[check] == '=') << r.what << ": " << w << ", got " << std::hex << int(got);
      }
      if (wait != std::string::npos) b.wait_ms(std::stod(w.substr(wait + 1)));
    }
  }
}

// t_WD_FLASH (a page), t_WD_EEPROM and t_WD_ERASE: RDY/BSY reads busy shortly before each
// has passed and ready shortly after; writes while busy are ignored.
TEST(AvrChip, WriteAndEraseTimes) {
  const struct { const char* name; double page_ms, eeprom_ms, erase_ms; } rows[] = {
      {"mega8", 4.5, 9.0, 9.0},    {"mega168", 4.5, 3.6, 9.0}, {"mega328P", 2.6, 3.6, 10.5},
      {"mega2560", 4.5, 9.0, 9.0}, {"tiny13", 4.5, 4.0, 9.0},  {"tiny26", 4.5, 9.0, 9.0}};
  for (const auto& r : rows) {
    bench b(r.name);
    ASSERT_EQ(b.enable(), 0x53) << r.name;
    // A poll answers 0.24 ms after it starts and takes 0.32 ms in all (10 us per bit).
    auto lasts = [&](double ms, const char* what) {
      b.wait_ms(ms - 0.35);
      EXPECT_TRUE(b.busy()) << r.name << " " << what << " ends early";
      b.wait_ms(0.7);
      EXPECT_FALSE(b.busy()) << r.name << " " << what << " ends late";
    };
    EXPECT_FALSE(b.busy());
    b.in(0x48, 0, 0, 0x12), b.in(0x4C);
    lasts(r.page_ms, "page write");
    b.in(0xC0, 0, 1, 0x34), b.in(0xC0, 0, 2, 0x56);  // the second is ignored; it took 0.32 ms of the write time
    lasts(r.eeprom_ms - 0.32, "EEPROM write");
    EXPECT_EQ(b.in(0xA0, 0, 1) << 8 | b.in(0xA0, 0, 2), 0x34FF) << r.name;
    b.in(0xAC, 0x80);
    lasts(r.erase_ms, "chip erase");
  }
}

// Out of step: megas come back by RESET pulses, old AT90S by one SCK pulse a try.
TEST(AvrChip, Synchronisation) {
  // Tries: Programming Enables until 0x53 comes back; 0: never.
  const struct { const char* name; int out_of_step, lose_after; bool sck_pulses; int tries; } rows[] = {
      {"mega8", 2, -1, false, 3}, {"90S2313", 3, -1, true, 4}, {"90S1200", 0, -1, false, 0}, {"mega8", 0, 3, false, 1}};
  for (const auto& r : rows) {
    vt::chip_options o;
    o.out_of_step = r.out_of_step, o.lose_step_after = r.lose_after;
    bench b(r.name, o);
    int tries = 1;
    for (; b.enable() != 0x53 && tries < 10; ++tries) r.sck_pulses ? b.sck_pulse() : b.reset_pulse();
    EXPECT_EQ(tries, r.tries ? r.tries : 10) << r.name;
    EXPECT_EQ(b.signature(), b.kind.signature) << r.name;
    EXPECT_EQ((b.byte(0x30), b.byte(0)) == 0x30, r.lose_after < 0) << r.name << " loses its step";
  }
}

// SCK low and high must each last more than 2 chip clocks (3 from 12 MHz on); a chip
// clocked from the XTAL line stands still without its edges.
TEST(AvrChip, SckTooFastForTheClock) {
  const struct { double osc; uint64_t half_ns; bool works; } rows[] = {
      {1e6, 2100, true}, {1e6, 1900, false}, {16e6, 190, true}, {16e6, 180, false}, {8e6, 260, true},
      {0, 5000, false},  {0, 5000, true}};  // XTAL-clocked, without and with edges
  for (const auto& r : rows) {
    vt::chip_options o;
    o.osc_hz = r.osc, o.osc_xtal = r.osc == 0;
    bench b("mega8", o);
    b.half_ns = r.half_ns, b.echoes = r.works, b.xtal = r.osc == 0 && r.works;
    if (b.xtal) b.reset_pulse();
    EXPECT_EQ(b.enable() == 0x53 && b.signature() == 0x1E9307u, r.works) << r.osc << " " << r.half_ns;
  }
}

}  // namespace

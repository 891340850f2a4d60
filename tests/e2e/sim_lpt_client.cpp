// A plain ISP client for the virtual target's tests, knowing nothing of zindle: vt_lpt_client [--wiring
// kaldo|stk200] [--phase N] [--wait writes|nanosleep] [--control HEX] ppdev PATH|io BASE sig|program SEED.
// kaldo: MOSI D5, SCK D6, RESET D4; stk200: MOSI D5, SCK D4, RESET D7, buffer on with D2 D3 low; MISO on ACK.
// An SCK phase is N port writes, or a write and a real-time wait of N us. sig prints the echo and signature;
// program also erases a mega8, programs its FLASH with a pattern page by page and reads it back.
#include <fcntl.h>
#include <linux/ppdev.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>
#if defined(__i386__) || defined(__x86_64__)
#include <sys/io.h>
#else  // no direct port I/O: "io" fails
static int ioperm(unsigned long, unsigned long, int) { return -1; }
static void outsb(unsigned short, const void*, unsigned long) {}
static unsigned char inb(unsigned short) { return 0xFF; }
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

uint8_t mosi = 0x20, sck = 0x40, reset = 0x10, data = 0;
unsigned phase_us = 3;
bool sleeps = false;
int fd = -1;
unsigned base = 0;

void out(unsigned reg, const uint8_t* v, size_t n) {  // reg 0: data, 2: control
  if (fd < 0) return outsb(uint16_t(base + reg), v, n);
  for (size_t i = 0; i < n; ++i) ioctl(fd, reg ? PPWCONTROL : PPWDATA, &v[i]);
}
void set(uint8_t d) { out(0, &(data = d), 1); }

// SCK low with MOSI set, then SCK high; MISO (ACK) is read at the end of the high phase.
uint8_t byte(uint8_t o) {
  uint8_t in = 0, burst[64], s = 0;
  const size_t n = sleeps ? 1 : std::min(phase_us, 64u);
  const timespec phase{0, long(phase_us) * 1000};
  for (int i = 7; i >= 0; --i) {
    data = uint8_t((data & ~(mosi | sck)) | ((o >> i) & 1 ? mosi : 0));
    for (uint8_t level : {data, uint8_t(data | sck)}) {
      std::fill_n(burst, n, level);
      out(0, burst, n);
      if (sleeps) nanosleep(&phase, nullptr);
    }
    s = fd < 0 ? inb(uint16_t(base + 1)) : (ioctl(fd, PPRSTATUS, &s), s);
    in = uint8_t(in << 1 | (s >> 6 & 1));
  }
  set(data);
  return in;
}

uint8_t cmd(uint8_t a, uint8_t b, uint8_t c, uint8_t d) { return byte(a), byte(b), byte(c), byte(d); }

uint8_t enable() {
  for (int i = 0; i < 21; ++i) set(reset);
  for (int i = 0; i < 201; ++i) set(0);  // RESET low, SCK low
  const uint8_t echo = (byte(0xAC), byte(0x53), byte(0));  // reply byte 2
  return byte(0), echo;
}

// An instruction that writes, then RDY/BSY polled until the write is over.
void write(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  cmd(a, b, c, d);
  for (int i = 0; cmd(0xF0, 0, 0xFF, 0) & 1; ++i)
    if (i == 100000) std::printf("chip stays busy\n"), std::exit(4);
}

}  // namespace

int main(int argc, char** argv) {
  int control = -1;
  for (; argc > 2 && std::string(argv[1]).rfind("--", 0) == 0; argc -= 2, argv += 2) {
    const std::string opt = argv[1], v = argv[2];
    if (opt == "--wiring" && (v == "stk200" || v == "kaldo"))
      sck = v == "stk200" ? 0x10 : 0x40, reset = v == "stk200" ? 0x80 : 0x10;
    else if (opt == "--phase") phase_us = unsigned(std::atoi(v.c_str()));
    else if (opt == "--control") control = int(std::strtoul(v.c_str(), nullptr, 16));
    else if (opt == "--wait" && (v == "writes" || v == "nanosleep")) sleeps = v == "nanosleep";
    else argc = 0;
  }
  const std::string how = argc >= 4 ? argv[1] : "", what = argc >= 4 ? argv[3] : "";
  if (how == "ppdev" && ((fd = open(argv[2], O_RDWR)) < 0 || ioctl(fd, PPCLAIM) != 0)) return std::perror(argv[2]), 3;
  if (how == "io" && ioperm(base = unsigned(std::strtoul(argv[2], nullptr, 16)), 3, 1) != 0)
    return base = 0, std::perror("ioperm"), 3;
  if (how != "ppdev" && how != "io")
    return std::fprintf(stderr, "usage: vt_lpt_client [OPTIONS] ppdev PATH|io BASE sig|program SEED\n"), 2;
  // Like a programmer's adapter object destroyed at process exit: drops all data lines after main.
  std::atexit([] { set(0); if (fd >= 0) ioctl(fd, PPRELEASE), close(fd); });
  const uint8_t ctl = uint8_t(control);
  out(2, &ctl, control >= 0);
  data = reset;  // reset released, SCK low, the buffer (if any) enabled
  std::printf("echo %02X\n", enable());
  unsigned sig = 0;
  for (uint8_t i = 0; i < 3; ++i) sig = sig << 8 | cmd(0x30, 0, i, 0);
  std::printf("signature %06X\n", sig);
  unsigned a = 0, flash = what == "program" && argc > 4 ? 8192 : 0;
  if (flash) {
    const unsigned seed = unsigned(std::atoi(argv[4]));
    const auto pattern = [seed](unsigned i) { return uint8_t((i * 7 + seed + (i >> 8)) ^ (i >> 3)); };
    write(0xAC, 0x80, 0, 0);
    for (unsigned i = 0; i < flash; ++i) {  // 64-byte pages
      cmd(i & 1 ? 0x48 : 0x40, 0, uint8_t(i >> 1 & 31), pattern(i));
      if (i % 64 == 63) write(0x4C, uint8_t(i >> 9), uint8_t(i >> 1 & ~31u), 0);
    }
    while (a < flash && cmd(a & 1 ? 0x28 : 0x20, uint8_t(a >> 9), uint8_t(a >> 1), 0) == pattern(a)) ++a;
    std::printf(a == flash ? "verify ok\n" : "verify failed at %04X\n", a);
  }
  set(reset);  // release reset
  return a != flash;
}

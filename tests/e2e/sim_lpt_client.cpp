// A plain ISP client for the virtual target's tests, knowing nothing of zindle:
// bit-bangs the AVR serial programming sequence on a parallel port.
//   sim_lpt_client [OPTIONS] ppdev PATH|io BASE sig|program SEED
// sig: enable, print the echo and the signature; program: also erase, program a
// mega8's whole FLASH with a pattern (pages, RDY/BSY polling) and read it back.
// OPTIONS: --wiring kaldo|stk200 (MOSI D5, SCK D6, RESET D4; or MOSI D5, SCK D4,
// RESET D7, buffer enabled by D2 D3 low; MISO on ACK), --phase N (N us per SCK
// phase), --wait writes|nanosleep (N port writes, or one write and a real-time
// wait), --control HEX (written to the control register).
#include <fcntl.h>
#include <linux/ppdev.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>
#if defined(__i386__) || defined(__x86_64__)
#include <sys/io.h>
#else  // no direct port I/O: "io" fails
static int ioperm(unsigned long, unsigned long, int) { return -1; }
static void outb(unsigned char, unsigned short) {}
static void outsb(unsigned short, const void*, unsigned long) {}
static unsigned char inb(unsigned short) { return 0xFF; }
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct wiring {
  uint8_t mosi, sck, reset;
} pins = {0x20, 0x40, 0x10};
int phase_us = 3;
std::string wait = "writes";

void real_time_wait() {
  timespec ts{0, long(phase_us) * 1000};
  nanosleep(&ts, nullptr);
}

struct port {
  int fd = -1;
  unsigned base = 0;
  void write_data(const uint8_t* v, size_t n) {
    if (fd < 0) return n == 1 ? outb(*v, base) : outsb(base, v, n);
    for (size_t i = 0; i < n; ++i) ioctl(fd, PPWDATA, &v[i]);
  }
  void write_data(uint8_t v) { write_data(&v, 1); }
  void write_control(uint8_t v) { fd < 0 ? outb(v, base + 2) : void(ioctl(fd, PPWCONTROL, &v)); }
  uint8_t status() {
    uint8_t s = 0;
    return fd < 0 ? inb(base + 1) : (ioctl(fd, PPRSTATUS, &s), s);
  }
  // Like a programmer's adapter object destroyed at process exit: drops all data lines after main.
  ~port() {
    if (fd < 0 && base == 0) return;
    write_data(0x00);
    if (fd >= 0) ioctl(fd, PPRELEASE), close(fd);
  }
} p;

uint8_t data = 0;

void set(uint8_t d) { p.write_data(data = d); }

// SCK low with MOSI set, then SCK high; MISO (ACK) is read at the end of the high phase.
uint8_t byte(uint8_t out) {
  uint8_t in = 0;
  for (int i = 7; i >= 0; --i) {
    const uint8_t low = uint8_t((data & ~(pins.mosi | pins.sck)) | ((out >> i) & 1 ? pins.mosi : 0));
    if (wait == "writes") {
      uint8_t burst[2 * 64];
      const int n = phase_us < 64 ? phase_us : 64;
      for (int k = 0; k < n; ++k) burst[k] = low, burst[n + k] = uint8_t(low | pins.sck);
      p.write_data(burst, size_t(2 * n));
    } else {
      p.write_data(low);
      real_time_wait();
      p.write_data(uint8_t(low | pins.sck));
      real_time_wait();
    }
    in = uint8_t((in << 1) | ((p.status() & 0x40) ? 1 : 0));
    data = low;
  }
  set(uint8_t(data & ~pins.sck));
  return in;
}

uint8_t cmd(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  byte(a), byte(b), byte(c);
  return byte(d);
}

uint8_t enable() {
  for (int i = 0; i < 21; ++i) set(pins.reset);
  for (int i = 0; i < 201; ++i) set(0);  // RESET low, SCK low
  byte(0xAC), byte(0x53);
  const uint8_t echo = byte(0);  // reply byte 2
  return byte(0), echo;
}

void wait_ready() {
  for (int i = 0; i < 100000; ++i)
    if ((cmd(0xF0, 0, 0xFF, 0) & 1) == 0) return;
  std::printf("chip stays busy\n");
  std::exit(4);
}

uint8_t pattern(unsigned seed, unsigned a) { return uint8_t((a * 7 + seed + (a >> 8)) ^ (a >> 3)); }

}  // namespace

int main(int argc, char** argv) {
  int control = -1;
  for (; argc > 2 && std::strncmp(argv[1], "--", 2) == 0; argc -= 2, argv += 2) {
    const std::string opt = argv[1], value = argv[2];
    if (opt == "--wiring" && (value == "stk200" || value == "kaldo"))
      pins = value == "stk200" ? wiring{0x20, 0x10, 0x80} : wiring{0x20, 0x40, 0x10};
    else if (opt == "--phase") phase_us = std::atoi(value.c_str());
    else if (opt == "--control") control = int(std::strtoul(value.c_str(), nullptr, 16));
    else if (opt == "--wait" && (value == "writes" || value == "nanosleep")) wait = value;
    else argc = 0;
  }
  const std::string how = argc >= 4 ? argv[1] : "", what = argc >= 4 ? argv[3] : "";
  if (how == "ppdev") {
    p.fd = open(argv[2], O_RDWR);
    if (p.fd < 0 || ioctl(p.fd, PPCLAIM) != 0) return std::perror(argv[2]), 3;
  } else if (how == "io") {
    p.base = unsigned(std::strtoul(argv[2], nullptr, 16));
    if (ioperm(p.base, 3, 1) != 0) return p.base = 0, std::perror("ioperm"), 3;
  } else {
    std::fprintf(stderr, "usage: sim_lpt_client [OPTIONS] ppdev PATH|io BASE sig|program SEED\n");
    return 2;
  }
  if (control >= 0) p.write_control(uint8_t(control));
  data = pins.reset;  // reset released, SCK low, the buffer (if any) enabled
  std::printf("echo %02X\n", enable());
  uint32_t sig = 0;
  for (uint8_t i = 0; i < 3; ++i) sig = (sig << 8) | cmd(0x30, 0, i, 0);
  std::printf("signature %06X\n", sig);
  int rc = 0;
  if (what == "program" && argc > 4) {
    const unsigned seed = unsigned(std::atoi(argv[4])), flash = 8192, page = 64;
    cmd(0xAC, 0x80, 0, 0);
    wait_ready();
    for (unsigned base = 0; base < flash; base += page) {
      for (unsigned a = base; a < base + page; ++a)
        cmd(a & 1 ? 0x48 : 0x40, 0, uint8_t((a >> 1) & (page / 2 - 1)), pattern(seed, a));
      cmd(0x4C, uint8_t(base >> 9), uint8_t(base >> 1), 0);
      wait_ready();
    }
    for (unsigned a = 0; a < flash && rc == 0; ++a) {
      const uint8_t v = cmd(a & 1 ? 0x28 : 0x20, uint8_t(a >> 9), uint8_t(a >> 1), 0);
      if (v != pattern(seed, a)) std::printf("verify failed at %04X: %02X, expected %02X\n", a, v, pattern(seed, a)), rc = 1;
    }
    if (rc == 0) std::printf("verify ok\n");
  }
  set(pins.reset);  // release reset
  return rc;
}

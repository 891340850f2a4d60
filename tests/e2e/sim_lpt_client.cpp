// A plain ISP client for the virtual target's tests: bit-bangs the AVR serial
// programming sequence on a parallel port, through ppdev or through direct
// port I/O, the way any programmer would. It knows nothing of zindle or of the
// simulator.
//
//   sim_lpt_client [OPTIONS] ppdev PATH sig            enable, print the echo and the signature
//   sim_lpt_client [OPTIONS] io BASE sig               the same through inb/outb/rep outsb (BASE hex)
//   sim_lpt_client [OPTIONS] ppdev PATH program SEED   erase, program the whole FLASH of a mega8
//                                                      with a pattern (page writes, RDY/BSY polling),
//                                                      read it all back; prints "verify ok" or the
//                                                      first difference
// OPTIONS:
//   --wiring kaldo|stk200   MOSI D5, SCK D6, RESET D4 (default); or MOSI D5, SCK D4,
//                           RESET D7 and the buffer enabled by D2, D3 low. MISO on ACK.
//   --phase N               each SCK phase is N port writes of the same levels (default 3) ...
//   --wait HOW              ... (writes, the default), or one write followed by a real-time
//                           wait of N microseconds: nanosleep, or a busy wait on
//                           gettimeofday or clock_gettime
//   --control HEX           write this to the control register first (ppdev: PPWCONTROL)
#include <fcntl.h>
#include <linux/ioctl.h>
#include <linux/ppdev.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>
#if defined(__i386__) || defined(__x86_64__)
#include <sys/io.h>
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct wiring {
  uint8_t mosi, sck, reset;
};
wiring pins = {0x20, 0x40, 0x10};  // KALDO
const wiring stk200 = {0x20, 0x10, 0x80};
int phase_us = 3;
enum class wait_kind { writes, nanosleep, gettimeofday, clock_gettime } wait = wait_kind::writes;

// Nanoseconds, at the resolution of the chosen clock.
uint64_t clock_ns() {
  if (wait == wait_kind::gettimeofday) {
    timeval tv;
    gettimeofday(&tv, nullptr);
    return (uint64_t(tv.tv_sec) * 1000000u + uint64_t(tv.tv_usec)) * 1000u;
  }
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return uint64_t(ts.tv_sec) * 1000000000u + uint64_t(ts.tv_nsec);
}

// Holds the lines for an SCK phase after its first write.
void real_time_wait() {
  if (wait == wait_kind::nanosleep) {
    timespec ts{0, long(phase_us) * 1000};
    nanosleep(&ts, nullptr);
    return;
  }
  const uint64_t start = clock_ns();
  while (clock_ns() - start < uint64_t(phase_us) * 1000u) {
  }
}

struct port {
  virtual ~port() = default;
  virtual void write_data(uint8_t v) = 0;
  virtual void write_control(uint8_t v) = 0;
  virtual void write_burst(const uint8_t* v, size_t n) {
    for (size_t i = 0; i < n; ++i) write_data(v[i]);
  }
  virtual uint8_t status() = 0;
};

struct ppdev_port : port {
  int fd;
  explicit ppdev_port(const char* path) {
    fd = open(path, O_RDWR);
    if (fd < 0 || ioctl(fd, PPCLAIM) != 0) {
      std::perror(path);
      std::exit(3);
    }
  }
  ~ppdev_port() override {
    ioctl(fd, PPRELEASE);
    close(fd);
  }
  void write_data(uint8_t v) override { ioctl(fd, PPWDATA, &v); }
  void write_control(uint8_t v) override { ioctl(fd, PPWCONTROL, &v); }
  uint8_t status() override {
    uint8_t s = 0;
    ioctl(fd, PPRSTATUS, &s);
    return s;
  }
};

#if defined(__i386__) || defined(__x86_64__)
struct io_port : port {
  unsigned base;
  explicit io_port(unsigned b) : base(b) {
    if (ioperm(base, 3, 1) != 0) {
      std::perror("ioperm");
      std::exit(3);
    }
  }
  ~io_port() override { ioperm(base, 3, 0); }
  void write_data(uint8_t v) override { outb(v, base); }
  void write_control(uint8_t v) override { outb(v, base + 2); }
  void write_burst(const uint8_t* v, size_t n) override { outsb(base, v, n); }
  uint8_t status() override { return inb(base + 1); }
};
#endif

struct isp {
  port& p;
  uint8_t data = pins.reset;  // reset released, SCK low, the buffer (if any) enabled

  void set(uint8_t d) {
    data = d;
    p.write_data(d);
  }
  void hold(int writes) {
    for (int i = 0; i < writes; ++i) p.write_data(data);
  }
  // SCK low with MOSI set, then SCK high: MISO is read at the end of the high phase.
  void clock_bit(uint8_t low) {
    if (wait == wait_kind::writes) {
      uint8_t burst[2 * 64];
      const int n = phase_us < 64 ? phase_us : 64;
      for (int k = 0; k < n; ++k) burst[k] = low;
      for (int k = 0; k < n; ++k) burst[n + k] = uint8_t(low | pins.sck);
      p.write_burst(burst, size_t(2 * n));
      return;
    }
    p.write_data(low);
    real_time_wait();
    p.write_data(uint8_t(low | pins.sck));
    real_time_wait();
  }
  uint8_t byte(uint8_t out) {
    uint8_t in = 0;
    for (int i = 7; i >= 0; --i) {
      uint8_t low = uint8_t((data & ~(pins.mosi | pins.sck)) | ((out >> i) & 1 ? pins.mosi : 0));
      clock_bit(low);
      in = uint8_t((in << 1) | ((p.status() & 0x40) ? 1 : 0));  // MISO on ACK
      data = low;
    }
    set(uint8_t(data & ~pins.sck));
    return in;
  }
  std::vector<uint8_t> cmd(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
    return {byte(a), byte(b), byte(c), byte(d)};
  }
  uint8_t enable() {
    set(pins.reset);
    hold(20);
    set(0);  // RESET low, SCK low
    hold(200);
    return cmd(0xAC, 0x53, 0, 0)[2];
  }
  void wait_ready() {
    for (int i = 0; i < 100000; ++i)
      if ((cmd(0xF0, 0, 0xFF, 0)[3] & 1) == 0) return;
    std::printf("chip stays busy\n");
    std::exit(4);
  }
};

// Like a programmer's adapter object destroyed at process exit: drops all data
// lines after main has returned.
struct last_words {
  port* p = nullptr;
  ~last_words() {
    if (p) p->write_data(0x00);
    delete p;
  }
} at_exit;

uint8_t pattern(unsigned seed, unsigned a) { return uint8_t((a * 7 + seed + (a >> 8)) ^ (a >> 3)); }

}  // namespace

int main(int argc, char** argv) {
  int control = -1;
  for (; argc > 2 && std::strncmp(argv[1], "--", 2) == 0; argc -= 2, argv += 2) {
    const std::string opt = argv[1], value = argv[2];
    if (opt == "--wiring" && value == "stk200") pins = stk200;
    else if (opt == "--phase") phase_us = std::atoi(value.c_str());
    else if (opt == "--control") control = int(std::strtoul(value.c_str(), nullptr, 16));
    else if (opt == "--wait" && value == "nanosleep") wait = wait_kind::nanosleep;
    else if (opt == "--wait" && value == "gettimeofday") wait = wait_kind::gettimeofday;
    else if (opt == "--wait" && value == "clock_gettime") wait = wait_kind::clock_gettime;
    else if (!(opt == "--wiring" && value == "kaldo") && !(opt == "--wait" && value == "writes")) argc = 0;
  }
  if (argc < 4) {
    std::fprintf(stderr, "usage: sim_lpt_client [OPTIONS] ppdev PATH|io BASE sig|program SEED\n");
    return 2;
  }
  port* pp = nullptr;
  if (std::strcmp(argv[1], "ppdev") == 0) pp = new ppdev_port(argv[2]);
#if defined(__i386__) || defined(__x86_64__)
  else if (std::strcmp(argv[1], "io") == 0) pp = new io_port(unsigned(std::strtoul(argv[2], nullptr, 16)));
#endif
  if (!pp) return 2;
  if (control >= 0) pp->write_control(uint8_t(control));
  isp chip{*pp};
  const std::string what = argv[3];
  uint8_t echo = chip.enable();
  std::printf("echo %02X\n", echo);
  uint32_t sig = 0;
  for (uint8_t i = 0; i < 3; ++i) sig = (sig << 8) | chip.cmd(0x30, 0, i, 0)[3];
  std::printf("signature %06X\n", sig);
  int rc = 0;
  if (what == "program" && argc > 4) {
    const unsigned seed = unsigned(std::atoi(argv[4]));
    const unsigned flash = 8192, page = 64;
    chip.cmd(0xAC, 0x80, 0, 0);
    chip.wait_ready();
    for (unsigned base = 0; base < flash; base += page) {
      for (unsigned a = base; a < base + page; ++a)
        chip.cmd(a & 1 ? 0x48 : 0x40, 0, uint8_t((a >> 1) & (page / 2 - 1)), pattern(seed, a));
      chip.cmd(0x4C, uint8_t(base >> 9), uint8_t(base >> 1), 0);
      chip.wait_ready();
    }
    for (unsigned a = 0; a < flash && rc == 0; ++a) {
      uint8_t v = chip.cmd(a & 1 ? 0x28 : 0x20, uint8_t(a >> 9), uint8_t(a >> 1), 0)[3];
      if (v != pattern(seed, a)) {
        std::printf("verify failed at %04X: %02X, expected %02X\n", a, v, pattern(seed, a));
        rc = 1;
      }
    }
    if (rc == 0) std::printf("verify ok\n");
  }
  chip.set(pins.reset);  // release reset
  at_exit.p = pp;
  return rc;
}

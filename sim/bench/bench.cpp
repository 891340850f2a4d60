// The process-wide bench: configuration, chip, modelled clock, trace and state save.
#include "sim/bench/bench.h"

#include <sys/stat.h>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "sim/chip/avr_chip.h"

namespace vt {

bool adapter_lines::operator==(const adapter_lines& o) const {
  return power == o.power && enable == o.enable && reset == o.reset && sck == o.sck && mosi == o.mosi &&
         xtal == o.xtal && led_ok == o.led_ok && led_error == o.led_error;
}

namespace bench {
namespace {

uint64_t real_ns() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return uint64_t(ts.tv_sec) * 1000000000u + uint64_t(ts.tv_nsec);
}

struct state {
  bool active = false;
  bench_config cfg;
  std::unique_ptr<avr_chip> chip;
  uint64_t now = 0;
  uint64_t real_start = 0;
  uint64_t real_deadline = 0;  // --realtime: when the last access ends in real time
  int trace_fd = -1;
  adapter_lines lines;
  bool lines_set = false;
  bool finished = false;
};

state* g = nullptr;

[[noreturn]] void die(const std::string& text) {
  std::fprintf(stderr, "vtarget: %s\n", text.c_str());
  std::_Exit(121);
}

std::unique_ptr<avr_chip> make_chip(const bench_config& cfg) {
  const chip_kind* kind = find_chip_kind(cfg.chip);
  if (!kind) die("unknown chip '" + cfg.chip + "'");
  chip_state st = chip_state::factory(*kind);
  struct stat sb;
  if (!cfg.state_file.empty() && ::stat(cfg.state_file.c_str(), &sb) == 0) {
    std::string error;
    if (!load_chip_state(cfg.state_file, st, error)) die(error);
    const chip_kind* saved = find_chip_kind(st.chip);
    if (saved != kind) die("state file " + cfg.state_file + " holds a " + st.chip + ", not a " + cfg.chip);
  }
  chip_options o;
  o.osc_hz = cfg.osc_hz;
  o.osc_xtal = cfg.osc_xtal;
  // Consecutive identical instructions with identical replies (a poll while the
  // chip is busy) are traced once, so that the trace does not depend on how long
  // the real write times happened to take.
  o.on_instruction = [](const uint8_t in[4], const uint8_t out[4]) {
    static uint8_t last[8];
    static bool any = false;
    uint8_t now[8] = {in[0], in[1], in[2], in[3], out[0], out[1], out[2], out[3]};
    if (any && std::memcmp(now, last, 8) == 0) return;
    std::memcpy(last, now, 8);
    any = true;
    trace("isp %02X %02X %02X %02X -> %02X %02X %02X %02X", in[0], in[1], in[2], in[3], out[0], out[1], out[2],
          out[3]);
  };
  for (const fault_spec& f : cfg.faults) {
    if (f.name == "no-answer") o.never_answers = true;
    else if (f.name == "out-of-step") o.out_of_step = int(f.number(1));
    else if (f.name == "lose-step") o.lose_step_after = f.number(10);
    else if (f.name == "busy-longer") o.busy_extra_ms = double(f.number(50));
    else if (f.name == "signature") {
      o.override_signature = true;
      o.signature = uint32_t(std::strtoul(f.value.c_str(), nullptr, 16));
    } else if (f.name == "locked") {
      st.lock &= f.value == "write" ? 0xFE : 0xFC;
    }
  }
  return std::unique_ptr<avr_chip>(new avr_chip(*kind, st, o));
}


state& get() {
  if (g) return *g;
  g = new state;  // lives until exit; finish() runs from atexit
  g->real_start = real_ns();
  const char* path = std::getenv("VTARGET_CONFIG");
  if (path && *path) {
    g->active = true;
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::string error;
    if (!in || !parse_config(text.str(), g->cfg, error)) {
      std::fprintf(stderr, "vtarget: bad configuration %s: %s\n", path, error.c_str());
      std::_Exit(121);
    }
  }
  if (!g->cfg.trace_file.empty())
    g->trace_fd = ::open(g->cfg.trace_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  g->chip = make_chip(g->cfg);
  return *g;
}

void trace_change(const char* name, bool was, bool now_level, bool first) {
  if (first || was != now_level) trace("%s %s", name, now_level ? "high" : "low");
}

}  // namespace

bool active() { return get().active; }
const bench_config& config() { return get().cfg; }
line_target& chip() { return *get().chip; }
uint64_t now_ns() { return get().now; }

void advance_ns(uint64_t ns) {
  state& s = get();
  s.now += ns;
  if (!s.cfg.realtime) return;
  // Each access takes its time from when it starts: after the program has been
  // busy elsewhere (or asleep) the port is not faster to make up for it.
  uint64_t r = real_ns();
  uint64_t start = r > s.real_deadline ? r : s.real_deadline;
  s.real_deadline = start + ns;
  for (;;) {
    r = real_ns();
    if (r >= s.real_deadline) break;
    uint64_t left = s.real_deadline - r;
    if (left > 200000) {
      timespec ts{time_t((left - 100000) / 1000000000u), long((left - 100000) % 1000000000u)};
      nanosleep(&ts, nullptr);
    }
  }
}

void set_adapter_lines(const adapter_lines& l) {
  state& s = get();
  bool first = !s.lines_set;
  if (!first && l == s.lines) return;
  const adapter_lines old = s.lines;
  trace_change("power", old.power, l.power, first);
  trace_change("enable", old.enable, l.enable, first);
  trace_change("reset", old.reset, l.reset, first);
  trace_change("led_ok", old.led_ok, l.led_ok, first);
  trace_change("led_error", old.led_error, l.led_error, first);
  s.lines = l;
  s.lines_set = true;
  target_lines t;
  t.powered = s.cfg.power_from_adapter ? l.power : true;
  t.driven = l.enable;
  t.reset = l.reset;
  t.sck = l.sck;
  t.mosi = l.mosi;
  t.xtal = l.xtal;
  s.chip->drive(s.now, t);
}

const adapter_lines& current_lines() { return get().lines; }

bool miso() {
  state& s = get();
  if (const fault_spec* f = fault("miso")) return f->number(1) != 0;
  return s.chip->miso(s.now);
}

// A person presses the key: its times run on the real clock since the start,
// like the chip's write times, not on the modelled one.
bool key_pressed() {
  state& s = get();
  double ms = double(real_ns() - s.real_start) / 1e6;
  if (s.cfg.key_press_ms < 0 || ms < s.cfg.key_press_ms) return false;
  return s.cfg.key_release_ms < 0 || ms < s.cfg.key_release_ms;
}

const fault_spec* fault(const char* name) {
  for (const auto& f : get().cfg.faults)
    if (f.name == name) return &f;
  return nullptr;
}

void trace(const char* format, ...) {
  state& s = get();
  if (s.trace_fd < 0) return;
  char buf[512];
  int n = std::snprintf(buf, sizeof buf, "%10llu.%03llu ", (unsigned long long)(s.now / 1000),
                        (unsigned long long)(s.now % 1000));
  va_list ap;
  va_start(ap, format);
  int m = std::vsnprintf(buf + n, sizeof buf - n - 1, format, ap);
  va_end(ap);
  if (m < 0) m = 0;
  size_t len = size_t(n) + (size_t(m) < sizeof buf - n - 2 ? size_t(m) : sizeof buf - n - 2);
  buf[len++] = '\n';
  ssize_t w = ::write(s.trace_fd, buf, len);
  (void)w;
}

void finish() {
  state& s = get();
  if (s.finished) return;
  s.finished = true;
  const adapter_lines& l = s.lines;
  trace("exit power %s enable %s reset %s led_ok %s led_error %s", l.power ? "high" : "low",
        l.enable ? "high" : "low", l.reset ? "high" : "low", l.led_ok ? "high" : "low",
        l.led_error ? "high" : "low");
  if (s.trace_fd >= 0) ::close(s.trace_fd);
  s.trace_fd = -1;
  if (!s.cfg.state_file.empty()) {
    std::string error;
    if (!save_chip_state(s.cfg.state_file, s.chip->state(), error)) std::fprintf(stderr, "vtarget: %s\n", error.c_str());
  }
}

}  // namespace bench
}  // namespace vt

// Runs when the library is unloaded at process exit, after the program's own
// static destructors and atexit handlers, so that an adapter switched off by a
// destructor is still traced and the chip state includes everything.
__attribute__((destructor)) static void vt_bench_at_exit() {
  if (vt::bench::g) vt::bench::finish();
}

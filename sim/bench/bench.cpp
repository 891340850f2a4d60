// The process-wide bench: configuration, chip, modelled clock, trace and state save.
#include "sim/bench/bench.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace vt {

bool adapter_lines::operator==(const adapter_lines& o) const {
  return power == o.power && enable == o.enable && reset == o.reset && sck == o.sck && mosi == o.mosi &&
         xtal == o.xtal && led_ok == o.led_ok && led_error == o.led_error;
}

namespace bench {
namespace {

// Until a chip model is attached: nothing on the lines, MISO floats high.
class no_chip : public line_target {
 public:
  void drive(uint64_t, const target_lines&) override {}
  bool miso(uint64_t) override { return true; }
};

uint64_t real_ns() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return uint64_t(ts.tv_sec) * 1000000000u + uint64_t(ts.tv_nsec);
}

struct state {
  bool active = false;
  bench_config cfg;
  std::unique_ptr<line_target> chip;
  uint64_t now = 0;
  uint64_t real_start = 0;
  int trace_fd = -1;
  adapter_lines lines;
  bool lines_set = false;
  bool finished = false;
};

state* g = nullptr;

void at_exit() { finish(); }

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
  g->chip.reset(new no_chip);
  std::atexit(at_exit);
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
  uint64_t target = s.real_start + s.now;
  for (;;) {
    uint64_t r = real_ns();
    if (r >= target) break;
    uint64_t left = target - r;
    if (left > 200000) {
      timespec ts{time_t(left / 1000000000u), long(left % 1000000000u) - 100000};
      if (ts.tv_nsec < 0) ts.tv_nsec = 0;
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

bool key_pressed() {
  state& s = get();
  double ms = double(s.now) / 1e6;
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
}

}  // namespace bench
}  // namespace vt

// The process-wide bench: configuration, chip, modelled clock, trace and chip image.
#include "sim/bench/bench.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "sim/bench/host_clock.h"
#include "sim/bench/vcd_writer.h"
#include "sim/chip/avr_chip.h"
#include "sim/chip/chip_image.h"

namespace vt {

bool adapter_lines::operator==(const adapter_lines& o) const {
  return power == o.power && enable == o.enable && reset == o.reset && sck == o.sck && mosi == o.mosi &&
         xtal == o.xtal && led_ok == o.led_ok && led_error == o.led_error;
}

namespace bench {
namespace {

// What a call of a time function costs the program on the modelled clock (a
// real one reads the clock in some tens of nanoseconds); it also makes a busy
// wait on the clock end when nothing else advances it.
constexpr uint64_t time_call_ns = 50;

// The clocks a program may read, with their values when the bench started.
struct clock_base {
  clockid_t id;
  uint64_t at_start;
};

struct realtime_record {
  uint64_t calls = 0;       // emulated calls
  uint64_t late = 0;        // calls that ended later than their modelled time
  uint64_t late_ns = 0;     // by this much in all
  uint64_t worst_ns = 0;    // and at most
};

struct pending_instruction {
  bool any = false;
  uint64_t stamp = 0;
  uint8_t bytes[8] = {};
  unsigned count = 0;
};

struct state {
  bool active = false;
  bench_config cfg;
  chip_image image;
  std::unique_ptr<avr_chip> chip;  // with chip positions: none until one is attached
  std::string where;               // the chip position attached, if any
  std::map<std::string, int> locks;  // channels this process holds: their lock files
  // The clock.
  uint64_t now = 0;
  uint64_t last_leave = 0;    // host monotonic time when the program last got control back
  uint64_t call_start = 0;    // realtime: modelled time at the start of the current call
  uint64_t call_start_host = 0;  // and host time
  uint64_t trap_ns = 0;
  int depth = 0;
  clock_base bases[4] = {{CLOCK_REALTIME, 0}, {CLOCK_MONOTONIC, 0}, {CLOCK_BOOTTIME, 0}, {CLOCK_TAI, 0}};
  realtime_record record;
  // The trace.
  int trace_fd = -1;
  pending_instruction pending;
  adapter_lines lines;
  bool lines_set = false;
  bool finished = false;
  // The waveforms (--vcd), opened when this process first drives the lines.
  std::unique_ptr<vcd_writer> vcd;
  bool vcd_tried = false;
  bool vcd_recorded = false;
  uint64_t vcd_last = 0;      // modelled time of the last recording
};

state* g = nullptr;
bool building = false;

[[noreturn]] void die(const std::string& text) {
  std::fprintf(stderr, "vtarget: %s\n", text.c_str());
  std::_Exit(121);
}

std::unique_ptr<avr_chip> make_chip(state& s, const std::string& chip_name, const std::string& image) {
  const bench_config& cfg = s.cfg;
  const chip_kind* kind = find_chip_kind(chip_name);
  if (!kind) die("unknown chip '" + chip_name + "'");
  chip_state st = chip_state::factory(*kind);
  chip_options o;
  if (!image.empty()) {
    std::string error;
    if (!s.image.map(image, error)) die(error);
    st = s.image.load();
    if (find_chip_kind(st.chip) != kind) die("chip image " + image + " holds a " + st.chip + ", not a " + chip_name);
    o.on_change = [&s](const chip_state& now, const chip_change& c) { s.image.store(now, c); };
  }
  o.osc_hz = cfg.osc_hz;
  o.osc_xtal = cfg.osc_xtal;
  o.on_instruction = trace_instruction;
  for (const fault_spec& f : cfg.faults) {
    if (!f.at.empty() && f.at != s.where) continue;
    switch (f.id) {
      case fault_id::no_answer: o.never_answers = true; break;
      case fault_id::out_of_step: o.out_of_step = int(f.number(1)); break;
      case fault_id::lose_step: o.lose_step_after = f.number(10); break;
      case fault_id::busy_longer: o.busy_extra_ms = double(f.number(50)); break;
      case fault_id::signature:
        o.override_signature = true;
        o.signature = uint32_t(std::strtoul(f.value.c_str(), nullptr, 16));
        break;
      default: break;
    }
  }
  return std::unique_ptr<avr_chip>(new avr_chip(*kind, st, o));
}

const chip_position* find_position(const state& s, const std::string& where) {
  for (const chip_position& p : s.cfg.positions)
    if (p.where == where) return &p;
  return nullptr;
}

// The channel's lock, a file in vtarget's session folder; flock's lock goes
// with the process. Without the folder (a bench in a test) nothing is locked.
bool lock_channel(state& s, const std::string& where) {
  if (s.locks.count(where)) return true;
  if (s.cfg.lock_dir.empty()) {
    s.locks[where] = -1;
    return true;
  }
  std::string path = s.cfg.lock_dir + "/lock.";
  for (char c : where) path += c == ':' || c == '/' ? '-' : c;
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) die("can't make the channel lock " + path + ": " + std::strerror(errno));
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return false;
  }
  s.locks[where] = fd;
  return true;
}

uint64_t host_ns(clockid_t id) {
  timespec ts;
  if (host::clock_gettime(id, &ts) != 0) return 0;
  return uint64_t(ts.tv_sec) * 1000000000u + uint64_t(ts.tv_nsec);
}

state& get() {
  if (g) return *g;
  building = true;
  state* s = new state;  // lives until exit; finish() runs when the library is unloaded
  s->last_leave = host::monotonic_ns();
  for (clock_base& b : s->bases) b.at_start = host_ns(b.id);
  const char* path = std::getenv("VTARGET_CONFIG");
  if (path && *path) {
    s->active = true;
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::string error;
    if (!in || !parse_config(text.str(), s->cfg, error)) {
      std::fprintf(stderr, "vtarget: bad configuration %s: %s\n", path, error.c_str());
      std::_Exit(121);
    }
  } else {
    s->cfg.clock = clock_mode::deterministic;  // in-process tests: nothing depends on the host's speed
  }
  if (!s->cfg.trace_file.empty())
    s->trace_fd = ::open(s->cfg.trace_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  g = s;
  if (s->cfg.positions.empty()) s->chip = make_chip(*s, s->cfg.chip, s->cfg.chip_image);
  building = false;
  return *g;
}

void write_trace_line(state& s, uint64_t stamp, const char* text, size_t length) {
  char buf[600];
  int n = std::snprintf(buf, sizeof buf, "%10llu.%03llu ", (unsigned long long)(stamp / 1000),
                        (unsigned long long)(stamp % 1000));
  // With several chips the processes share the trace: each line names its chip.
  if (!s.where.empty()) n += std::snprintf(buf + n, sizeof buf - size_t(n), "[%s] ", s.where.c_str());
  if (length > sizeof buf - size_t(n) - 1) length = sizeof buf - size_t(n) - 1;
  std::memcpy(buf + n, text, length);
  buf[size_t(n) + length] = '\n';
  ssize_t w = ::write(s.trace_fd, buf, size_t(n) + length + 1);
  (void)w;
}

void flush_instruction(state& s) {
  pending_instruction& p = s.pending;
  if (!p.any) return;
  p.any = false;
  const uint8_t* b = p.bytes;
  char text[80];
  int n = std::snprintf(text, sizeof text, "isp %02X %02X %02X %02X -> %02X %02X %02X %02X", b[0], b[1], b[2], b[3],
                        b[4], b[5], b[6], b[7]);
  if (p.count > 1) n += std::snprintf(text + n, sizeof text - size_t(n), " x%u", p.count);
  write_trace_line(s, p.stamp, text, size_t(n));
}

void trace_change(const char* name, bool was, bool now_level, bool first) {
  if (first || was != now_level) trace("%s %s", name, now_level ? "high" : "low");
}

// The recorded lines, in this order; the first four are the ISP lines.
enum wire { w_sck, w_mosi, w_miso, w_reset, w_xtal, w_power, w_enable, w_led_ok, w_led_error, w_key, w_count };
const char* const wire_names[w_count] = {"sck",   "mosi",   "miso",   "reset",     "xtal",
                                         "power", "enable", "led_ok", "led_error", "key"};

bool key_at(const bench_config& c, uint64_t t) {
  const double ms = double(t) / 1e6;
  if (c.key_press_ms < 0 || ms < c.key_press_ms) return false;
  return c.key_release_ms < 0 || ms < c.key_release_ms;
}

// Brings the key up to `now`: it is pressed and released at its own times,
// which may fall between two line changes.
void record_key(state& s) {
  const bench_config& c = s.cfg;
  if (c.vcd_isp_only) return;
  for (double ms : {c.key_press_ms, c.key_release_ms}) {
    if (ms < 0) continue;
    const uint64_t t = uint64_t(ms * 1e6);
    if (t > s.vcd_last && t <= s.now) s.vcd->change(t, w_key, key_at(c, t) ? '1' : '0');
  }
}

// A copy of the process made by fork() leaves the recording to its parent.
void vcd_forked() {
  if (g && g->vcd) g->vcd->abandon();
}

void open_vcd(state& s) {
  s.vcd_tried = true;
  const bench_config& c = s.cfg;
  if (c.vcd_file.empty()) return;
  const size_t count = c.vcd_isp_only ? 4 : w_count;
  std::unique_ptr<vcd_writer> w(new vcd_writer(std::vector<std::string>(wire_names, wire_names + count)));
  w->set_window(uint64_t(c.vcd_from_ms * 1e6), c.vcd_to_ms < 0 ? UINT64_MAX : uint64_t(c.vcd_to_ms * 1e6));
  const int fd = ::open(c.vcd_file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_LARGEFILE, 0644);
  if (fd < 0) {
    std::fprintf(stderr, "vtarget: can't write %s: %s\n", c.vcd_file.c_str(), std::strerror(errno));
    return;
  }
  // One process records at a time; the lines of one that drives them while
  // another records are left out (each has its own chip model).
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    std::fprintf(stderr, "vtarget: another process is recording %s; the lines of process %d are not in it\n",
                 c.vcd_file.c_str(), int(::getpid()));
    ::close(fd);
    return;
  }
  std::string error;
  if (!w->open(fd, error)) {
    std::fprintf(stderr, "vtarget: can't continue %s: %s\n", c.vcd_file.c_str(), error.c_str());
    return;
  }
  static bool fork_handler = false;
  if (!fork_handler) pthread_atfork(nullptr, nullptr, vcd_forked);
  fork_handler = true;
  s.vcd = std::move(w);
}

// Records the lines as they are now: those behind the adapter's buffer float
// while it is off; MISO is what the chip drives, or a stuck line.
void record_lines(state& s) {
  if (!s.vcd_tried) open_vcd(s);
  if (!s.vcd || !s.vcd->is_open()) return;
  const adapter_lines& l = s.lines;
  auto level = [](bool b) { return b ? '1' : '0'; };
  auto buffered = [&](bool b) { return l.enable ? level(b) : 'z'; };
  char miso = 'z';
  if (const fault_spec* f = fault(fault_id::miso)) {
    miso = level(f->number(1) != 0);
  } else {
    const int m = s.chip->miso_output();
    if (m >= 0) miso = level(m != 0);
  }
  const char v[w_count] = {buffered(l.sck),   buffered(l.mosi),  miso,
                           buffered(l.reset), buffered(l.xtal),  level(l.power),
                           level(l.enable),   level(l.led_ok),   level(l.led_error),
                           level(key_at(s.cfg, s.now))};
  if (s.vcd_recorded) record_key(s);
  s.vcd_recorded = true;
  const size_t count = s.cfg.vcd_isp_only ? 4 : w_count;
  for (size_t i = 0; i < count; ++i) s.vcd->change(s.now, i, v[i]);
  s.vcd_last = s.now;
}

// The realtime run fell behind noticeably: more than 1 % of its calls, or of its time.
void report_realtime(const state& s) {
  const realtime_record& r = s.record;
  if (r.late == 0 || (r.late * 100 <= r.calls && r.late_ns * 100 <= s.now)) return;
  std::fprintf(stderr,
               "vtarget: the host could not keep up with --realtime: %llu of %llu emulated accesses took longer "
               "than modelled, by %.3f ms in all and %.1f us at most\n",
               (unsigned long long)r.late, (unsigned long long)r.calls, double(r.late_ns) / 1e6,
               double(r.worst_ns) / 1e3);
}

void trace_lines(const adapter_lines& old, const adapter_lines& l, bool first) {
  trace_change("power", old.power, l.power, first);
  trace_change("enable", old.enable, l.enable, first);
  trace_change("reset", old.reset, l.reset, first);
  trace_change("led_ok", old.led_ok, l.led_ok, first);
  trace_change("led_error", old.led_error, l.led_error, first);
}

// The adapter's lines as they reach the chip.
void drive_chip(state& s) {
  if (!s.chip) return;
  const adapter_lines& l = s.lines;
  target_lines t;
  t.powered = s.cfg.power_from_adapter ? l.power : true;
  t.driven = l.enable;
  t.reset = l.reset;
  t.sck = l.sck;
  t.mosi = l.mosi;
  t.xtal = l.xtal;
  s.chip->drive(s.now, t);
}

}  // namespace

bool active() { return get().active; }
const bench_config& config() { return get().cfg; }
line_target& chip() {
  state& s = get();
  if (!s.chip) die("no chip attached to this process");
  return *s.chip;
}
uint64_t now_ns() { return get().now; }
void advance_ns(uint64_t ns) { get().now += ns; }
void set_trap_overhead_ns(uint64_t ns) { get().trap_ns = ns; }

emulation_call::emulation_call(bool trapped) {
  state& s = get();
  if (s.depth++ > 0 || s.cfg.clock == clock_mode::deterministic) return;
  const uint64_t r = host::monotonic_ns();
  const uint64_t trap = trapped ? s.trap_ns : 0;
  // The program's own time since it last left an emulation.
  const uint64_t gap = r - s.last_leave;
  if (gap > trap) s.now += gap - trap;
  if (s.cfg.clock == clock_mode::realtime) {
    // The call started when the program issued it.
    s.call_start = s.now;
    s.call_start_host = gap > trap ? r - trap : s.last_leave;
    ++s.record.calls;
  }
}

emulation_call::~emulation_call() {
  state& s = *g;
  if (--s.depth > 0 || s.cfg.clock == clock_mode::deterministic) return;
  if (s.cfg.clock == clock_mode::realtime) {
    // The call lasts its modelled time for real; one that took longer than
    // that by more than 5 % (and the timer's jitter) is late.
    const uint64_t took = s.now - s.call_start;
    const uint64_t due = s.call_start_host + took;
    const uint64_t r = host::monotonic_ns();
    if (r > due) {
      const uint64_t late = r - due;
      if (late > took / 20 + 200) {
        ++s.record.late;
        s.record.late_ns += late;
        if (late > s.record.worst_ns) s.record.worst_ns = late;
      }
    } else {
      host::wait_until_ns(due);
    }
  }
  s.last_leave = host::monotonic_ns();
}

bool client_time(clockid_t id, timespec& ts) {
  if (building) return false;
  state& s = get();
  const clock_base* base = nullptr;
  for (const clock_base& b : s.bases) {
    if (b.id == id) base = &b;
  }
  if (id == CLOCK_REALTIME_COARSE) base = &s.bases[0];
  if (id == CLOCK_MONOTONIC_RAW || id == CLOCK_MONOTONIC_COARSE) base = &s.bases[1];
  if (!base) return false;
  emulation_call call;
  const uint64_t t = base->at_start + s.now;
  if (s.cfg.clock != clock_mode::realtime) s.now += time_call_ns;
  ts.tv_sec = time_t(t / 1000000000u);
  ts.tv_nsec = long(t % 1000000000u);
  return true;
}

bool client_sleep(uint64_t ns) {
  if (building) return false;
  state& s = get();
  if (s.cfg.clock != clock_mode::deterministic) return false;
  s.now += ns;
  return true;
}

void set_adapter_lines(const adapter_lines& l) {
  state& s = get();
  bool first = !s.lines_set;
  if (!first && l == s.lines) return;
  // A channel without a chip (yet) drives nothing worth tracing.
  if (s.chip) trace_lines(s.lines, l, first);
  s.lines = l;
  s.lines_set = true;
  drive_chip(s);
  if (s.chip) record_lines(s);
}

const adapter_lines& current_lines() { return get().lines; }

bool miso() {
  state& s = get();
  if (const fault_spec* f = fault(fault_id::miso)) return f->number(1) != 0;
  return s.chip ? s.chip->miso(s.now) : true;  // nothing on the channel: the line floats high
}

// A person presses the key at a modelled time, so a program's key wait
// behaves the same however fast the host runs it.
bool key_pressed() {
  state& s = get();
  double ms = double(s.now) / 1e6;
  if (s.cfg.key_press_ms < 0 || ms < s.cfg.key_press_ms) return false;
  return s.cfg.key_release_ms < 0 || ms < s.cfg.key_release_ms;
}

const fault_spec* fault(fault_id id) {
  const state& s = get();
  for (const auto& f : s.cfg.faults)
    if (f.id == id && (f.at.empty() || f.at == s.where)) return &f;
  return nullptr;
}

bool attach(const std::string& where) {
  state& s = get();
  const chip_position* p = find_position(s, where);
  if (p && s.chip && s.where != where) {
    trace("%s: refused, this process already works with the chip on %s", where.c_str(), s.where.c_str());
    return false;
  }
  if (!lock_channel(s, where)) return false;
  if (p && !s.chip) {
    s.where = where;
    s.chip = make_chip(s, p->chip, p->image);
    if (s.lines_set) {  // the levels the adapter already drives
      trace_lines(s.lines, s.lines, true);
      drive_chip(s);
    }
  }
  return true;
}

void detach(const std::string& where) {
  state& s = get();
  auto l = s.locks.find(where);
  if (l == s.locks.end()) return;
  if (l->second >= 0) ::close(l->second);
  s.locks.erase(l);
}

void trace(const char* format, ...) {
  state& s = get();
  if (s.trace_fd < 0) return;
  flush_instruction(s);
  char text[512];
  va_list ap;
  va_start(ap, format);
  int m = std::vsnprintf(text, sizeof text, format, ap);
  va_end(ap);
  if (m < 0) m = 0;
  write_trace_line(s, s.now, text, size_t(m) < sizeof text ? size_t(m) : sizeof text - 1);
}

void trace_instruction(const uint8_t in[4], const uint8_t out[4]) {
  state& s = get();
  if (s.trace_fd < 0) return;
  const uint8_t bytes[8] = {in[0], in[1], in[2], in[3], out[0], out[1], out[2], out[3]};
  pending_instruction& p = s.pending;
  if (p.any && std::memcmp(p.bytes, bytes, 8) == 0) {
    ++p.count;
    return;
  }
  flush_instruction(s);
  p.any = true;
  p.stamp = s.now;
  std::memcpy(p.bytes, bytes, 8);
  p.count = 1;
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
  if (s.vcd && s.vcd->is_open()) {
    record_key(s);
    s.vcd->close(s.now);
  }
  if (s.cfg.clock == clock_mode::realtime) report_realtime(s);
}

}  // namespace bench
}  // namespace vt

// Runs when the library is unloaded at process exit, after the program's own
// static destructors and atexit handlers, so that an adapter switched off by a
// destructor is still traced.
__attribute__((destructor)) static void vt_bench_at_exit() {
  if (vt::bench::g) vt::bench::finish();
}

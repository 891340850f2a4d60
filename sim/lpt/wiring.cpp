// The parallel-port wirings of the simulated adapters.
#include "sim/lpt/wiring.h"

#include <cctype>
#include <cstring>

namespace vt {
namespace {

const char* const signal_names[] = {"mosi", "miso", "sck", "reset", "xtal", "power",
                                    "set", "enable", "led_error", "led_ok", "key"};

struct pin {
  const char* name;
  bool output;
  int bit;   // output: bit of the electrical pin word (data 0..7, control pins 16..21); input: status bit
};

// Output pins in electrical terms: D0..D7 and the four control lines as they
// appear on the connector (the port inverts STROBE, ALF and SELECT itself).
const pin pins[] = {
    {"D0", true, 0},       {"D1", true, 1},      {"D2", true, 2},     {"D3", true, 3},
    {"D4", true, 4},       {"D5", true, 5},      {"D6", true, 6},     {"D7", true, 7},
    {"STROBE", true, 16},  {"ALF", true, 17},    {"INIT", true, 18},  {"SELECT", true, 19},
    {"BIDIR_EN", true, 21}, {"ERROR", false, 3}, {"ONLINE", false, 4}, {"PE", false, 5},
    {"ACK", false, 6},     {"BUSY", false, 7},
};

std::string trim(const std::string& s) {
  size_t a = 0, b = s.size();
  while (a < b && std::isspace((unsigned char)s[a])) ++a;
  while (b > a && std::isspace((unsigned char)s[b - 1])) --b;
  return s.substr(a, b - a);
}

bool same(const std::string& a, const char* b) {
  if (a.size() != std::strlen(b)) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower((unsigned char)a[i]) != std::tolower((unsigned char)b[i])) return false;
  return true;
}

const pin* find_pin(const std::string& name) {
  for (const pin& p : pins)
    if (same(name, p.name)) return &p;
  return nullptr;
}

// The built-in adapters as pin-map entries, plus their loop-back lines.
struct builtin {
  const char* name;
  const char* map;
  const char* loops;   // STATUSPIN=OUTPIN or STATUSPIN=0/1, ':' separated
};

const builtin builtins[] = {
    {"kaldo", "mosi=D5:miso=ACK:sck=D6:reset=D4:xtal=D3:power=D0,D1,D2,D7", ""},
    {"stk200", "mosi=D5:miso=ACK:sck=D4:reset=D7:xtal=D6:enable=~D2,~D3", "PE=D0"},
    {"stk300", "mosi=D5:miso=ACK:sck=D4:reset=D7:xtal=D6:enable=~D2,~D3", "BUSY=D1"},
    {"byteblaster", "mosi=D6:miso=BUSY:sck=D0:reset=D1:xtal=D3:enable=~ALF", "ACK=D7:PE=D5:ERROR=0"},
    {"byteblastermv", "mosi=D6:miso=BUSY:sck=D0:reset=D1:xtal=D3:enable=~ALF", "ACK=D7:PE=D5:ERROR=1"},
    {"byteblaster2", "mosi=D6:miso=BUSY:sck=D0:reset=D1:xtal=D2:enable=D4,D5,D7,INIT,STROBE,ALF,SELECT",
     "ACK=D4:ERROR=0"},
    {"xilinx", "mosi=D0:miso=ONLINE:sck=D1:reset=D2:set=D4:enable=~D3", ""},
};

std::vector<std::string> split(const std::string& s, char sep) {
  std::vector<std::string> out(1);
  for (char c : s) {
    if (c == sep) out.emplace_back();
    else out.back() += c;
  }
  return out;
}

}  // namespace

std::vector<std::string> lpt_wiring::names() {
  std::vector<std::string> n;
  for (const builtin& b : builtins) n.push_back(b.name);
  return n;
}

uint32_t lpt_wiring::output_pins(uint8_t data, uint8_t control) {
  // The data lines float high while the port is switched to input.
  uint32_t d = (control & 0x20) ? 0xFF : data;
  uint32_t c = (control ^ 0x0B) & 0x2F;  // STROBE, ALF and SELECT drive their pins inverted
  return d | (c << 16);
}

bool lpt_wiring::add_entry(const std::string& raw, std::string& error) {
  std::string entry = trim(raw);
  if (entry.empty()) return true;
  auto eq = entry.find('=');
  if (eq == std::string::npos) {
    error = "invalid map entry '" + entry + "'";
    return false;
  }
  std::string key = trim(entry.substr(0, eq));
  if (same(key, "name")) return true;
  int s = -1;
  for (int i = 0; i < s_count; ++i)
    if (same(key, signal_names[i])) s = i;
  if (s < 0) {
    error = "invalid signal name '" + key + "'";
    return false;
  }
  for (std::string p : split(entry.substr(eq + 1), ',')) {
    p = trim(p);
    bool inv = !p.empty() && p[0] == '~';
    if (inv) p = p.substr(1);
    const pin* pn = find_pin(p);
    if (!pn) {  // a pin of another adapter kind
      foreign_.push_back(p);
      continue;
    }
    if (s == s_miso || s == s_key) {
      if (pn->output) {
        error = "'" + p + "' is not an input pin";
        return false;
      }
      (s == s_miso ? miso_bit_ : key_bit_) = pn->bit;
      (s == s_miso ? miso_inv_ : key_inv_) = inv;
    } else {
      if (!pn->output) {
        error = "'" + p + "' is not an output pin";
        return false;
      }
      out_[s].mask |= 1u << pn->bit;
      if (!inv) out_[s].value |= 1u << pn->bit;
    }
  }
  return true;
}

void lpt_wiring::add_loop_pin(int status_bit, const char* out_pin) {
  const pin* p = find_pin(out_pin);
  loop l{status_bit, false, false, {}};
  l.source.mask = l.source.value = 1u << p->bit;
  loops_.push_back(l);
}

void lpt_wiring::add_loop_const(int status_bit, bool level) { loops_.push_back({status_bit, true, level, {}}); }

bool lpt_wiring::configure(const std::string& name, const std::string& map_text, std::string& error) {
  *this = lpt_wiring();
  std::string map = map_text, loops;
  if (name != "map") {
    const builtin* b = nullptr;
    for (const builtin& x : builtins)
      if (same(name, x.name)) b = &x;
    if (!b) {
      error = "unknown wiring '" + name + "'";
      return false;
    }
    map = b->map;
    loops = b->loops;
  }
  for (const std::string& e : split(map, ':'))
    if (!add_entry(e, error)) return false;
  for (const std::string& l : split(loops, ':')) {
    if (l.empty()) continue;
    auto eq = l.find('=');
    const pin* in = find_pin(l.substr(0, eq));
    std::string src = l.substr(eq + 1);
    if (src == "0" || src == "1") add_loop_const(in->bit, src == "1");
    else add_loop_pin(in->bit, src.c_str());
  }
  return true;
}

adapter_lines lpt_wiring::outputs(uint8_t data, uint8_t control) const {
  const uint32_t p = output_pins(data, control);
  adapter_lines l;
  auto level = [&](int s, bool undefined) { return out_[s].defined() ? out_[s].holds(p) : undefined; };
  l.mosi = level(s_mosi, false);
  l.sck = level(s_sck, false);
  l.reset = level(s_reset, true);  // an unconnected RESET is pulled up on the target
  l.xtal = level(s_xtal, false);
  l.power = level(s_power, false);
  l.enable = level(s_enable, true);
  l.led_ok = level(s_led_ok, false);
  l.led_error = level(s_led_error, false);
  return l;
}

uint8_t lpt_wiring::status(uint8_t data, uint8_t control, bool miso, bool key) const {
  const uint32_t p = output_pins(data, control);
  uint8_t pinlv = 0xF8;  // open inputs read high
  for (const loop& l : loops_) {
    bool lv = l.constant ? l.level : l.source.holds(p);
    pinlv = uint8_t(lv ? pinlv | (1 << l.status_bit) : pinlv & ~(1 << l.status_bit));
  }
  if (miso_bit_ >= 0) {
    // Behind a disabled buffer the line floats and reads high.
    bool driven = !out_[s_enable].defined() || out_[s_enable].holds(p);
    bool lv = driven ? (miso != miso_inv_) : true;
    pinlv = uint8_t(lv ? pinlv | (1 << miso_bit_) : pinlv & ~(1 << miso_bit_));
  }
  if (key_bit_ >= 0) {
    bool lv = key != key_inv_;
    pinlv = uint8_t(lv ? pinlv | (1 << key_bit_) : pinlv & ~(1 << key_bit_));
  }
  return uint8_t(((pinlv ^ 0x80) & 0xF8) | 0x07);  // BUSY reads inverted
}

}  // namespace vt

// Pin-map parsing for the FTDI side and the pin-to-line mapping.
#include "sim/ftdi/ftdi_wiring.h"

#include <cctype>

namespace vt {

namespace {

const char* const signal_names[] = {"mosi", "miso", "sck",    "reset",  "xtal", "power",
                                    "set",  "enable", "led_error", "led_ok", "key"};

std::string trim(const std::string& s) {
  size_t a = 0, b = s.size();
  while (a < b && std::isspace((unsigned char)s[a])) ++a;
  while (b > a && std::isspace((unsigned char)s[b - 1])) --b;
  return s.substr(a, b - a);
}

std::string lower(std::string s) {
  for (auto& c : s) c = char(std::tolower((unsigned char)c));
  return s;
}

}  // namespace

ftdi_wiring::ftdi_wiring() {
  std::string error;
  configure("", "", ftdi_chip::ft2232h, error);
}

int ftdi_wiring::pin_bit(const std::string& name) {
  const std::string n = lower(trim(name));
  int base = -1;
  size_t prefix = 0;
  if (n.compare(0, 5, "adbus") == 0) base = 0, prefix = 5;
  else if (n.compare(0, 5, "acbus") == 0) base = 8, prefix = 5;
  else if (n.compare(0, 4, "dbus") == 0) base = 0, prefix = 4;
  else if (n.compare(0, 4, "cbus") == 0) base = 8, prefix = 4;
  if (base < 0 || n.size() != prefix + 1 || n[prefix] < '0' || n[prefix] > '7') return -1;
  return base + (n[prefix] - '0');
}

bool ftdi_wiring::configure(const std::string& wiring, const std::string& map_text, ftdi_chip chip,
                            std::string& error) {
  for (auto& s : sig_) s.clear();
  present_ = chip == ftdi_chip::ft2232c ? 0x0FFF : chip == ftdi_chip::ft4232h ? 0x00FF : 0xFFFF;
  if (wiring == "map") {
    size_t start = 0;
    while (start <= map_text.size()) {
      size_t end = map_text.find(':', start);
      if (end == std::string::npos) end = map_text.size();
      std::string entry = map_text.substr(start, end - start);
      if (!trim(entry).empty() && !add_entry(entry, error)) return false;
      start = end + 1;
    }
  }
  // The MPSSE pins carry the ISP lines unless the map put them elsewhere.
  uint16_t used = 0;
  for (auto& s : sig_)
    for (const pin& p : s) used = uint16_t(used | (1u << p.bit));
  const struct { sig s; int bit; } defaults[] = {{s_sck, 0}, {s_mosi, 1}, {s_miso, 2}, {s_reset, 3}};
  for (const auto& d : defaults)
    if (sig_[d.s].empty() && !(used & (1u << d.bit))) sig_[d.s].push_back({d.bit, false});
  return true;
}

bool ftdi_wiring::add_entry(const std::string& entry, std::string& error) {
  size_t eq = entry.find('=');
  if (eq == std::string::npos) {
    error = "invalid wiring entry '" + entry + "'";
    return false;
  }
  const std::string key = lower(trim(entry.substr(0, eq)));
  if (key == "name") return true;
  int s = -1;
  for (int i = 0; i < s_count; ++i)
    if (key == signal_names[i]) s = i;
  if (s < 0) {
    error = "invalid signal name '" + key + "' in wiring";
    return false;
  }
  std::vector<pin> pins;
  const std::string value = entry.substr(eq + 1);
  size_t start = 0;
  while (start <= value.size()) {
    size_t end = value.find(',', start);
    if (end == std::string::npos) end = value.size();
    std::string p = trim(value.substr(start, end - start));
    bool inverted = !p.empty() && p[0] == '~';
    if (inverted) p = p.substr(1);
    int bit = pin_bit(p);
    if (bit >= 0) {
      for (const auto& other : sig_)
        for (const pin& q : other)
          if (q.bit == bit) {
            error = "pin '" + p + "' used twice in wiring";
            return false;
          }
      // A pin the chip does not have connects to nothing.
      if (present_ & (1u << bit)) pins.push_back({bit, inverted});
    }
    start = end + 1;
  }
  // Entries with parallel-port pins only belong to that emulation.
  sig_[s].insert(sig_[s].end(), pins.begin(), pins.end());
  return true;
}

bool ftdi_wiring::level(const std::vector<pin>& pins, uint16_t latch, uint16_t direction, bool& out) const {
  if (pins.empty()) return false;
  bool all = true;
  for (const pin& p : pins) {
    const uint16_t m = uint16_t(1u << p.bit);
    const bool electrical = (direction & m) ? (latch & m) != 0 : true;
    all = all && (electrical != p.inverted);
  }
  out = all;
  return true;
}

adapter_lines ftdi_wiring::outputs(uint16_t latch, uint16_t direction) const {
  adapter_lines l;
  auto get = [&](sig s, bool undefined) {
    bool v = undefined;
    level(sig_[s], latch, direction, v);
    return v;
  };
  l.power = get(s_power, false);
  l.enable = get(s_enable, true);
  l.reset = get(s_reset, true);  // a RESET line on no pin is pulled up at the chip
  l.sck = get(s_sck, false);
  l.mosi = get(s_mosi, false);
  l.xtal = get(s_xtal, false);
  l.led_ok = get(s_led_ok, false);
  l.led_error = get(s_led_error, false);
  return l;
}

uint16_t ftdi_wiring::inputs(bool miso, bool key) const {
  uint16_t v = 0xFFFF;
  auto put = [&](sig s, bool level) {
    for (const pin& p : sig_[s]) {
      const uint16_t m = uint16_t(1u << p.bit);
      v = uint16_t((level != p.inverted) ? (v | m) : (v & ~m));
    }
  };
  put(s_miso, miso);
  put(s_key, key);
  return v;
}

}  // namespace vt

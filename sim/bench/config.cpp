// Text form of the bench configuration that vtarget hands to the program it runs.
#include "sim/bench/config.h"

#include <cstdlib>
#include <sstream>

namespace vt {

long fault_spec::number(long fallback) const {
  if (!has_value || value.empty()) return fallback;
  char* end = nullptr;
  long v = std::strtol(value.c_str(), &end, 0);
  return (end && *end == 0) ? v : fallback;
}

fault_spec parse_fault(const std::string& text) {
  fault_spec f;
  auto eq = text.find('=');
  if (eq == std::string::npos) {
    f.name = text;
  } else {
    f.name = text.substr(0, eq);
    f.value = text.substr(eq + 1);
    f.has_value = true;
  }
  f.id = find_fault(f.name);
  return f;
}

const char* clock_mode_name(clock_mode m) {
  switch (m) {
    case clock_mode::deterministic: return "deterministic";
    case clock_mode::realtime: return "realtime";
    case clock_mode::host: break;
  }
  return "host";
}

bool parse_clock_mode(const std::string& text, clock_mode& m) {
  for (clock_mode c : {clock_mode::host, clock_mode::deterministic, clock_mode::realtime}) {
    if (text == clock_mode_name(c)) {
      m = c;
      return true;
    }
  }
  return false;
}

namespace {

std::string escape(const std::string& s) {
  std::string out;
  for (char ch : s) {
    if (ch == '\\') out += "\\\\";
    else if (ch == '\n') out += "\\n";
    else if (ch == '\t') out += "\\t";
    else out += ch;
  }
  return out;
}

std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      char n = s[++i];
      out += n == 'n' ? '\n' : n == 't' ? '\t' : n;
    } else {
      out += s[i];
    }
  }
  return out;
}

// Splits an escaped value at unescaped tabs.
std::vector<std::string> fields(const std::string& escaped) {
  std::vector<std::string> out(1);
  for (size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == '\\' && i + 1 < escaped.size()) {
      out.back() += escaped[i];
      out.back() += escaped[++i];
    } else if (escaped[i] == '\t') {
      out.emplace_back();
    } else {
      out.back() += escaped[i];
    }
  }
  for (auto& f : out) f = unescape(f);
  return out;
}

std::string number_text(double v) {
  std::ostringstream o;
  o.precision(17);
  o << v;
  return o.str();
}

}  // namespace

std::string format_config(const bench_config& c) {
  std::ostringstream o;
  o << "chip=" << escape(c.chip) << "\n";
  o << "chip_image=" << escape(c.chip_image) << "\n";
  o << "lock_dir=" << escape(c.lock_dir) << "\n";
  o << "wiring=" << escape(c.wiring) << "\n";
  o << "wiring_map=" << escape(c.wiring_map) << "\n";
  o << "power_from_adapter=" << (c.power_from_adapter ? 1 : 0) << "\n";
  o << "parport=" << escape(c.parport) << "\n";
  o << "emulate_lpt=" << (c.emulate_lpt ? 1 : 0) << "\n";
  for (const auto& p : c.positions)
    o << "position=" << escape(p.where) << "\t" << escape(p.chip) << "\t" << escape(p.image) << "\n";
  for (const auto& f : c.ftdi) {
    o << "ftdi=" << escape(f.type) << "\t" << (f.has_description ? 1 : 0) << "\t" << escape(f.description)
      << "\t" << (f.has_serial ? 1 : 0) << "\t" << escape(f.serial) << "\n";
  }
  o << "osc_xtal=" << (c.osc_xtal ? 1 : 0) << "\n";
  o << "osc_hz=" << number_text(c.osc_hz) << "\n";
  o << "lpt_cycle_us=" << number_text(c.lpt_cycle_us) << "\n";
  o << "usb_latency_us=" << number_text(c.usb_latency_us) << "\n";
  o << "clock=" << clock_mode_name(c.clock) << "\n";
  for (const auto& f : c.faults)
    o << "fault=" << escape(f.name) << "\t" << (f.has_value ? 1 : 0) << "\t" << escape(f.value) << "\t"
      << escape(f.at) << "\n";
  o << "trace=" << escape(c.trace_file) << "\n";
  o << "vcd=" << escape(c.vcd_file) << "\n";
  o << "vcd_isp_only=" << (c.vcd_isp_only ? 1 : 0) << "\n";
  o << "vcd_from_ms=" << number_text(c.vcd_from_ms) << "\n";
  o << "vcd_to_ms=" << number_text(c.vcd_to_ms) << "\n";
  o << "key_press_ms=" << number_text(c.key_press_ms) << "\n";
  o << "key_release_ms=" << number_text(c.key_release_ms) << "\n";
  return o.str();
}

bool parse_config(const std::string& text, bench_config& c, std::string& error) {
  std::istringstream in(text);
  std::string line;
  int n = 0;
  while (std::getline(in, line)) {
    ++n;
    if (line.empty() || line[0] == '#') continue;
    auto eq = line.find('=');
    if (eq == std::string::npos) {
      error = "line " + std::to_string(n) + ": no '='";
      return false;
    }
    std::string key = line.substr(0, eq), raw = line.substr(eq + 1), val = unescape(raw);
    auto flag = [&] { return val == "1"; };
    auto num = [&] { return std::strtod(val.c_str(), nullptr); };
    if (key == "chip") c.chip = val;
    else if (key == "chip_image") c.chip_image = val;
    else if (key == "lock_dir") c.lock_dir = val;
    else if (key == "wiring") c.wiring = val;
    else if (key == "wiring_map") c.wiring_map = val;
    else if (key == "power_from_adapter") c.power_from_adapter = flag();
    else if (key == "parport") c.parport = val;
    else if (key == "emulate_lpt") c.emulate_lpt = flag();
    else if (key == "position") {
      auto f = fields(raw);
      if (f.size() != 3) {
        error = "line " + std::to_string(n) + ": bad position entry";
        return false;
      }
      c.positions.push_back({f[0], f[1], f[2]});
    }
    else if (key == "ftdi") {
      auto f = fields(raw);
      if (f.size() != 5) {
        error = "line " + std::to_string(n) + ": bad ftdi entry";
        return false;
      }
      c.ftdi.push_back({f[0], f[1] == "1", f[2], f[3] == "1", f[4]});
    } else if (key == "osc_xtal") c.osc_xtal = flag();
    else if (key == "osc_hz") c.osc_hz = num();
    else if (key == "lpt_cycle_us") c.lpt_cycle_us = num();
    else if (key == "usb_latency_us") c.usb_latency_us = num();
    else if (key == "clock") {
      if (!parse_clock_mode(val, c.clock)) {
        error = "line " + std::to_string(n) + ": unknown clock '" + val + "'";
        return false;
      }
    }
    else if (key == "fault") {
      auto f = fields(raw);
      if (f.size() != 4) {
        error = "line " + std::to_string(n) + ": bad fault entry";
        return false;
      }
      fault_spec s;
      s.name = f[0];
      s.id = find_fault(s.name);
      s.has_value = f[1] == "1";
      s.value = f[2];
      s.at = f[3];
      c.faults.push_back(s);
    } else if (key == "trace") c.trace_file = val;
    else if (key == "vcd") c.vcd_file = val;
    else if (key == "vcd_isp_only") c.vcd_isp_only = flag();
    else if (key == "vcd_from_ms") c.vcd_from_ms = num();
    else if (key == "vcd_to_ms") c.vcd_to_ms = num();
    else if (key == "key_press_ms") c.key_press_ms = num();
    else if (key == "key_release_ms") c.key_release_ms = num();
    else {
      error = "line " + std::to_string(n) + ": unknown setting '" + key + "'";
      return false;
    }
  }
  return true;
}

}  // namespace vt

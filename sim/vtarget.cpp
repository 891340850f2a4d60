// vtarget: runs a program with a simulated AVR behind an emulated parallel
// port (and FTDI devices), then keeps the chip's state for the next run.
#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "sim/bench/config.h"
#include "sim/chip/chip_image.h"
#include "sim/chip/chip_state.h"
#include "sim/lpt/wiring.h"

namespace {

// The usage text is made from the option table below: the part before the
// options, then one entry per row, then this.
const char* const usage_head =
    "Usage: vtarget [OPTIONS] [-- PROGRAM [ARGS...]]\n"
    "\n"
    "Runs PROGRAM with one simulated AVR chip attached to an emulated parallel port\n"
    "(ppdev on --parport and direct I/O at 0x378, 0x278, 0x3BC) and, with --ftdi, to\n"
    "emulated FTDI devices (a libftd2xx.so put first on LD_LIBRARY_PATH), or with\n"
    "--chip-at one chip per channel, for several programs at once (a station). The\n"
    "chips' state is loaded before and saved after PROGRAM. Without PROGRAM, vtarget\n"
    "only loads, shows, imports or exports the state. The exit status is PROGRAM's\n"
    "(128 + signal number when it was killed); 2 for a usage error, 1 for others.\n"
    "\n"
    "Options (VALUE may also follow after '='):\n";

const char* const usage_tail =
    "\n"
    "\n"
    "Time: the chip, the trace and PROGRAM's time functions share one modelled clock.\n"
    "It advances by the modelled cost of every port access and USB transfer and by\n"
    "PROGRAM's own time between them, so what PROGRAM measures of the port is what the\n"
    "chip sees, and its waits reach the chip as on hardware. With --chip-at every\n"
    "process has a clock of its own, all starting together: the channels work side by\n"
    "side, each with its own USB turn-arounds.\n"
    "\n"
    "Example: vtarget --chip tiny13 --state t13.state -- zindle +tiny13 -ew prog.hex\n"
    "Station: vtarget --ftdi ft2232h --chip-at ft2232h:A=mega328p,state=a.state \\\n"
    "           --chip-at ft2232h:B=mega328p,state=b.state -- gang-program ...\n";

// One --chip-at entry as given; resolved against the --ftdi entries after parsing.
struct chip_at {
  std::string text;   // the whole value, for messages
  std::string label;  // the position as written: "ft2232h:A", "ft2232h#2:B", "parport1"
  std::string chip;   // empty: from the state file, or mega8
  std::string state_file;
  std::vector<vt::fault_spec> faults;
};

struct options {
  vt::bench_config cfg;
  std::string state_file;
  bool chip_given = false, parport_given = false;
  bool show = false, list = false, help = false;
  std::string flash_in, flash_out, eeprom_in, eeprom_out;
  std::vector<chip_at> chips_at;
  std::vector<std::string> program;
};

struct usage_error {
  std::string text;
};

volatile pid_t program_pid = 0;

std::string self_dir() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return ".";
  buf[n] = 0;
  std::string p(buf);
  auto slash = p.rfind('/');
  return slash == std::string::npos ? "." : p.substr(0, slash);
}

std::string lower(std::string s) {
  for (auto& c : s) c = char(std::tolower((unsigned char)c));
  return s;
}

double parse_number(const std::string& opt, const std::string& v) {
  char* end = nullptr;
  double d = std::strtod(v.c_str(), &end);
  if (v.empty() || *end) throw usage_error{"bad number '" + v + "' for " + opt};
  return d;
}

double parse_frequency(const std::string& v) {
  char* end = nullptr;
  double d = std::strtod(v.c_str(), &end);
  std::string unit = lower(end);
  if (unit.size() > 2 && unit.compare(unit.size() - 2, 2, "hz") == 0) unit.resize(unit.size() - 2);
  if (unit == "k") d *= 1e3;
  else if (unit == "m") d *= 1e6;
  else if (!unit.empty() || v.empty()) throw usage_error{"bad frequency '" + v + "'"};
  if (d <= 0) throw usage_error{"bad frequency '" + v + "'"};
  return d;
}

vt::fault_spec parse_known_fault(const std::string& text) {
  vt::fault_spec f = vt::parse_fault(text);
  if (f.id == vt::fault_id::unknown) throw usage_error{"unknown fault '" + f.name + "'"};
  return f;
}

vt::ftdi_entry parse_ftdi(const std::string& v) {
  vt::ftdi_entry e;
  size_t colon = v.find(':');
  e.type = lower(v.substr(0, colon));
  if (e.type != "ft2232c" && e.type != "ft2232h" && e.type != "ft4232h")
    throw usage_error{"unknown FTDI type '" + e.type + "' (ft2232c, ft2232h, ft4232h)"};
  // description=TEXT and serial=TEXT; a text runs up to the next ":serial=" or ":description=".
  std::string rest = colon == std::string::npos ? "" : v.substr(colon + 1);
  while (!rest.empty()) {
    std::string key;
    if (rest.compare(0, 12, "description=") == 0) key = "description";
    else if (rest.compare(0, 7, "serial=") == 0) key = "serial";
    else throw usage_error{"bad --ftdi entry '" + v + "'"};
    rest = rest.substr(key.size() + 1);
    size_t next = std::string::npos;
    for (const char* k : {":description=", ":serial="}) next = std::min(next, rest.find(k));
    std::string text = rest.substr(0, next);
    rest = next == std::string::npos ? "" : rest.substr(next + 1);
    if (key == "description") {
      e.has_description = true;
      e.description = text;
    } else {
      e.has_serial = true;
      e.serial = text;
    }
  }
  return e;
}

// POSITION=[CHIP][,state=FILE][,fault=WHAT]...
chip_at parse_chip_at(const std::string& v) {
  chip_at c;
  c.text = v;
  const size_t eq = v.find('=');
  c.label = lower(v.substr(0, eq));
  if (eq == std::string::npos || c.label.empty()) throw usage_error{"--chip-at needs POSITION=CHIP: '" + v + "'"};
  std::stringstream items(v.substr(eq + 1));
  std::string item;
  for (bool first = true; std::getline(items, item, ','); first = false) {
    if (item.compare(0, 6, "state=") == 0) c.state_file = item.substr(6);
    else if (item.compare(0, 6, "fault=") == 0) c.faults.push_back(parse_known_fault(item.substr(6)));
    else if (first && item.find('=') == std::string::npos) c.chip = item;
    else throw usage_error{"bad --chip-at item '" + item + "' in '" + v + "'"};
  }
  if (!c.chip.empty() && !vt::find_chip_kind(c.chip)) throw usage_error{"unknown chip '" + c.chip + "' (see --list)"};
  return c;
}

void parse_wiring(options& o, const std::string& w) {
  if (w.compare(0, 4, "map:") == 0) {
    o.cfg.wiring = "map";
    o.cfg.wiring_map = w.substr(4);
  } else {
    o.cfg.wiring = w;
  }
  vt::lpt_wiring check;
  std::string error;
  if (!check.configure(o.cfg.wiring, o.cfg.wiring_map, error)) throw usage_error{error};
  for (std::string pin : check.foreign_pins()) {
    // Not a parallel-port pin: it must be one of the FTDI channel's (ADBUS0, ACBUS3, DBUS5, ...).
    pin = lower(pin);
    size_t bus = pin.find("bus");
    bool ftdi = bus != std::string::npos && bus >= 1 && bus <= 2 && pin.size() == bus + 4 && pin[bus + 3] >= '0' &&
                pin[bus + 3] <= '7';
    if (!ftdi) throw usage_error{"invalid pin name '" + pin + "' in --wiring"};
  }
}

// --vcd-lines all|isp
void parse_vcd_lines(const std::string& v, vt::bench_config& c) {
  if (v != "all" && v != "isp") throw usage_error{"--vcd-lines takes all or isp"};
  c.vcd_isp_only = v == "isp";
}

// --vcd-window FROM[,TO] in milliseconds of modelled time
void parse_vcd_window(const std::string& v, vt::bench_config& c) {
  const auto comma = v.find(',');
  c.vcd_from_ms = parse_number("--vcd-window", v.substr(0, comma));
  c.vcd_to_ms = comma == std::string::npos ? -1 : parse_number("--vcd-window", v.substr(comma + 1));
  if (c.vcd_from_ms < 0 || (comma != std::string::npos && c.vcd_to_ms < c.vcd_from_ms))
    throw usage_error{"--vcd-window takes FROM[,TO] in milliseconds, 0 <= FROM <= TO"};
}

// One row per option: adding an option is adding a row. `value` names the
// value in the help text (nullptr: the option takes none); `help` may run over
// several lines ('\n'); a row without help is an alias left out of the list.
struct option_row {
  const char* name;
  const char* value;
  void (*handle)(options& o, const std::string& name, const std::string& value);
  const char* help;
};

const option_row option_rows[] = {
    {"--chip", "NAME",
     [](options& o, const std::string&, const std::string& v) {
       o.cfg.chip = v;
       o.chip_given = true;
       if (!vt::find_chip_kind(v)) throw usage_error{"unknown chip '" + v + "' (see --list)"};
     },
     "chip type (a name or alias of the device list, without \"AT\");\n"
     "default mega8, or the chip of an existing --state file"},
    {"--state", "FILE", [](options& o, const std::string&, const std::string& v) { o.state_file = v; },
     "persistent chip state: loaded if FILE exists, else a factory-new\n"
     "chip; saved when PROGRAM ends. Without it every run starts new."},
    {"--chip-at", "POSITION=[CHIP][,state=FILE][,fault=WHAT]...",
     [](options& o, const std::string&, const std::string& v) { o.chips_at.push_back(parse_chip_at(v)); },
     "one chip of a station, repeatable, in place of --chip and\n"
     "--state. POSITION is an MPSSE channel of an --ftdi chip,\n"
     "TYPE[#N]:A or :B (the N-th --ftdi of that TYPE, default 1;\n"
     "only A on an ft2232c), or parport0, parport1, parport2\n"
     "(/dev/parportN and the base 0x378, 0x278, 0x3BC). The process\n"
     "that opens the channel works on its chip; a second process gets\n"
     "the device's busy answer. fault= confines a --fault to the chip."},
    {"--wiring", "NAME", [](options& o, const std::string&, const std::string& v) { parse_wiring(o, v); },
     "kaldo (default), stk200, stk300, byteblaster, byteblastermv,\n"
     "byteblaster2, xilinx: the adapter with its buffer and loop-backs;\n"
     "or map:ENTRIES in the pin-map syntax (signal=PIN[,PIN]..., ':'\n"
     "separated, '~' = inverted), parallel-port pins D0..D7, STROBE,\n"
     "ALF, INIT, SELECT, ERROR, ONLINE, PE, ACK, BUSY, or FTDI pins"},
    {"--power", "MODE",
     [](options& o, const std::string&, const std::string& v) {
       if (v == "adapter") o.cfg.power_from_adapter = true;
       else if (v == "external") o.cfg.power_from_adapter = false;
       else throw usage_error{"--power takes adapter or external"};
     },
     "external (default): the chip has its own supply; adapter: the\n"
     "chip is powered only while the adapter's power signal is on"},
    {"--parport", "PATH",
     [](options& o, const std::string&, const std::string& v) {
       o.cfg.parport = v;
       o.parport_given = true;
     },
     "the emulated ppdev device (default /dev/parport0)"},
    {"--no-parport", nullptr, [](options& o, const std::string&, const std::string&) { o.cfg.emulate_lpt = false; },
     "no parallel port at all (neither ppdev nor direct I/O)"},
    {"--ftdi", "TYPE[:description=TEXT][:serial=TEXT]",
     [](options& o, const std::string&, const std::string& v) { o.cfg.ftdi.push_back(parse_ftdi(v)); },
     "emulate an FTDI chip: ft2232c, ft2232h or ft4232h; repeatable.\n"
     "The simulated chip hangs on channel A of the first one."},
    {"--osc", "FREQ",
     [](options& o, const std::string&, const std::string& v) {
       if (v == "xtal") o.cfg.osc_xtal = true;
       else o.cfg.osc_hz = parse_frequency(v);
     },
     "the chip's oscillator, e.g. 8M, 800k, 3686400 (default: its\n"
     "factory clock); --osc xtal: clocked from the adapter's XTAL line"},
    {"--lpt-cycle", "US",
     [](options& o, const std::string& n, const std::string& v) {
       o.cfg.lpt_cycle_us = parse_number(n, v);
       if (o.cfg.lpt_cycle_us <= 0) throw usage_error{"--lpt-cycle must be positive"};
     },
     "modelled duration of one port access (default 1.0)"},
    {"--usb-latency", "US",
     [](options& o, const std::string& n, const std::string& v) {
       o.cfg.usb_latency_us = parse_number(n, v);
       if (o.cfg.usb_latency_us < 0) throw usage_error{"--usb-latency must not be negative"};
     },
     "modelled turn-around of one FTDI read (default by chip type)"},
    {"--clock", "MODE",
     [](options& o, const std::string&, const std::string& v) {
       if (!vt::parse_clock_mode(v, o.cfg.clock)) throw usage_error{"--clock takes host, deterministic or realtime"};
     },
     "how the program's own time between its port accesses and USB\n"
     "calls counts on the modelled clock:\n"
     "  host           measured on the host's clock, less the\n"
     "                 emulation's own time; sleeps are real (default)\n"
     "  deterministic  only a fixed 50 ns per call of a time function;\n"
     "                 sleeps pass at once: the same run gives the same\n"
     "                 trace, time stamps included\n"
     "  realtime       as host, and every port access and USB transfer\n"
     "                 also takes its modelled time for real (to watch\n"
     "                 a run); says at the end when the host could not\n"
     "                 keep up"},
    {"--deterministic", nullptr,
     [](options& o, const std::string&, const std::string&) { o.cfg.clock = vt::clock_mode::deterministic; },
     "short for --clock deterministic"},
    {"--realtime", nullptr,
     [](options& o, const std::string&, const std::string&) { o.cfg.clock = vt::clock_mode::realtime; },
     "short for --clock realtime"},
    {"--key", "MS[,MS2]",
     [](options& o, const std::string& n, const std::string& v) {
       auto comma = v.find(',');
       o.cfg.key_press_ms = parse_number(n, v.substr(0, comma));
       if (comma != std::string::npos) o.cfg.key_release_ms = parse_number(n, v.substr(comma + 1));
     },
     "the adapter key is pressed MS milliseconds after the start on\n"
     "the modelled clock (and released at MS2)"},
    {"--fault", "WHAT",
     [](options& o, const std::string&, const std::string& v) { o.cfg.faults.push_back(parse_known_fault(v)); },
     nullptr},  // its help lists the fault table: see usage()
    {"--trace", "FILE", [](options& o, const std::string&, const std::string& v) { o.cfg.trace_file = v; },
     "write every ISP instruction with the chip's reply (identical ones\n"
     "in a row as one line ending in xN), every change of RESET,\n"
     "power, enable and the LEDs, and the final line levels, with\n"
     "modelled time stamps in microseconds"},
    {"--vcd", "FILE", [](options& o, const std::string&, const std::string& v) { o.cfg.vcd_file = v; },
     "record the lines between adapter and chip (sck, mosi, miso,\n"
     "reset, xtal, power, enable, led_ok, led_error, key) as a Value\n"
     "Change Dump on the modelled clock (1 ns); miso is z while the\n"
     "chip leaves it floating, the buffered lines while the buffer is off"},
    {"--vcd-lines", "all|isp", [](options& o, const std::string&, const std::string& v) { parse_vcd_lines(v, o.cfg); },
     "record every line (default), or only sck, mosi, miso and reset"},
    {"--vcd-window", "FROM[,TO]",
     [](options& o, const std::string&, const std::string& v) { parse_vcd_window(v, o.cfg); },
     "record only from FROM to TO milliseconds of modelled time"},
    {"--show", nullptr, [](options& o, const std::string&, const std::string&) { o.show = true; },
     "print the chip state (after PROGRAM, if any)"},
    {"--flash-in", "FILE", [](options& o, const std::string&, const std::string& v) { o.flash_in = v; },
     "load the whole FLASH from a raw binary file before PROGRAM"},
    {"--eeprom-in", "FILE", [](options& o, const std::string&, const std::string& v) { o.eeprom_in = v; },
     "the same for the EEPROM"},
    {"--flash-out", "FILE", [](options& o, const std::string&, const std::string& v) { o.flash_out = v; },
     "save the whole FLASH as raw binary after PROGRAM"},
    {"--eeprom-out", "FILE", [](options& o, const std::string&, const std::string& v) { o.eeprom_out = v; },
     "the same for the EEPROM"},
    {"--list", nullptr, [](options& o, const std::string&, const std::string&) { o.list = true; },
     "list the chips that can be simulated"},
    {"--help", nullptr, [](options& o, const std::string&, const std::string&) { o.help = true; }, "this text"},
    {"-h", nullptr, [](options& o, const std::string&, const std::string&) { o.help = true; }, nullptr},
};

// "  HEAD" with TEXT's lines from column `column` on (on the next line when HEAD is too long).
void put_entry(std::string& out, const std::string& head, const std::string& text, size_t column) {
  std::string line = "  " + head;
  if (line.size() + 1 > column) {
    out += line + "\n";
    line.clear();
  }
  std::stringstream lines(text);
  std::string l;
  while (std::getline(lines, l)) {
    line.resize(column, ' ');
    out += line + l + "\n";
    line.clear();
  }
}

// The injectable faults, from their table, grouped by where they strike.
std::string fault_help() {
  std::string out = "inject a fault; repeatable.";
  const struct {
    vt::fault_side side;
    const char* title;
  } groups[] = {{vt::fault_side::chip, "Chip faults:"},
                {vt::fault_side::parport, "Parallel-port faults:"},
                {vt::fault_side::ftdi, "FTDI faults:"}};
  for (const auto& g : groups) {
    out += std::string(g.side == vt::fault_side::chip ? " " : "\n") + g.title + "\n";
    std::string list;
    for (const vt::fault_kind* k = vt::fault_kinds_begin(); k != vt::fault_kinds_end(); ++k) {
      if (k->side != g.side) continue;
      std::string head = k->name;
      if (*k->value) head += k->value[0] == '[' ? std::string("[=") + (k->value + 1) : std::string("=") + k->value;
      put_entry(list, head, k->help, 24);
    }
    list.pop_back();
    out += list;
  }
  return out;
}

std::string usage() {
  std::string out = usage_head;
  for (const option_row& r : option_rows) {
    const bool is_fault = std::strcmp(r.name, "--fault") == 0;
    if (!r.help && !is_fault) continue;
    put_entry(out, std::string(r.name) + (r.value ? std::string(" ") + r.value : ""), is_fault ? fault_help() : r.help,
              23);
  }
  return out + usage_tail;
}

options parse_args(int argc, char** argv) {
  options o;
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    if (name == "--") {
      o.program.assign(argv + i + 1, argv + argc);
      break;
    }
    std::string value;
    const auto eq = name.find('=');
    const bool inline_value = name.compare(0, 2, "--") == 0 && eq != std::string::npos;
    if (inline_value) {
      value = name.substr(eq + 1);
      name.resize(eq);
    }
    const option_row* row = nullptr;
    for (const option_row& r : option_rows)
      if (name == r.name) row = &r;
    if (!row) throw usage_error{"unknown option '" + name + "'"};
    if (row->value && !inline_value) {
      if (i + 1 >= argc) throw usage_error{name + " needs a value"};
      value = argv[++i];
    }
    row->handle(o, name, value);
  }
  return o;
}

// --chip-at positions as the bench names them ("ftdi:I:L", "parport:N"); the
// options that belong to the single chip do not mix with them.
void resolve_positions(options& o) {
  if (o.chips_at.empty()) return;
  if (o.chip_given || !o.state_file.empty() || !o.flash_in.empty() || !o.flash_out.empty() || !o.eeprom_in.empty() ||
      !o.eeprom_out.empty() || o.parport_given)
    throw usage_error{"--chip, --state, --parport and the --flash/--eeprom files are for the single chip; "
                      "with --chip-at give each chip its own state="};
  for (const chip_at& c : o.chips_at) {
    std::string where;
    const std::string& p = c.label;
    if (p.size() == 8 && p.compare(0, 7, "parport") == 0 && p[7] >= '0' && p[7] <= '2') {
      if (!o.cfg.emulate_lpt) throw usage_error{"--chip-at " + p + " with --no-parport"};
      where = "parport:" + p.substr(7);
    } else {
      const size_t colon = p.find(':'), hash = p.find('#');
      const std::string type = p.substr(0, std::min(colon, hash));
      long n = 1;
      if (hash != std::string::npos && hash < colon) n = std::strtol(p.c_str() + hash + 1, nullptr, 10);
      const std::string channel = colon == std::string::npos ? "" : p.substr(colon + 1);
      const bool h_chip = type == "ft2232h" || type == "ft4232h";
      if ((type != "ft2232c" && !h_chip) || channel.size() != 1 || n < 1)
        throw usage_error{"bad --chip-at position '" + p + "' (TYPE[#N]:CHANNEL or parportN)"};
      if (channel != "a" && !(channel == "b" && h_chip))
        throw usage_error{"--chip-at " + p + ": only channel A" + std::string(h_chip ? " and B" : "") + " of an " +
                          type + " have an MPSSE engine"};
      for (size_t i = 0; i < o.cfg.ftdi.size() && where.empty(); ++i)
        if (o.cfg.ftdi[i].type == type && --n == 0) where = "ftdi:" + std::to_string(i) + ":" + char(std::toupper(channel[0]));
      if (where.empty()) throw usage_error{"--chip-at " + p + ": no such --ftdi " + type};
    }
    for (const vt::chip_position& q : o.cfg.positions)
      if (q.where == where) throw usage_error{"two chips at " + p};
    o.cfg.positions.push_back({where, c.chip, ""});
  }
}

bool file_exists(const std::string& p) {
  struct stat sb;
  return ::stat(p.c_str(), &sb) == 0;
}

bool read_binary(const std::string& path, std::vector<uint8_t>& mem, std::string& error) {
  std::ifstream f(path, std::ios::binary);
  if (!f) {
    error = "can't read " + path;
    return false;
  }
  std::vector<uint8_t> data((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  if (data.size() > mem.size()) {
    error = path + " is larger than the memory (" + std::to_string(mem.size()) + " bytes)";
    return false;
  }
  std::fill(mem.begin(), mem.end(), 0xFF);
  std::copy(data.begin(), data.end(), mem.begin());
  return true;
}

bool write_binary(const std::string& path, const std::vector<uint8_t>& mem, std::string& error) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char*>(mem.data()), std::streamsize(mem.size()));
  if (!f) error = "can't write " + path;
  return bool(f);
}

void show(const vt::chip_kind& k, const vt::chip_state& s) {
  std::printf("chip: %s\n", k.name().c_str());
  std::printf("signature: %02X %02X %02X\n", k.signature >> 16, (k.signature >> 8) & 0xFF, k.signature & 0xFF);
  std::printf("flash: %u bytes, eeprom: %u bytes\n", k.flash_bytes, k.eeprom_bytes);
  if (k.fuse_present) {
    std::printf("fuses:");
    const char* names[] = {"low", "high", "extended"};
    for (int i = 0; i < 3; ++i)
      if (k.fuse_present & (1 << i)) std::printf(" %s %02X", names[i], s.fuse[i]);
    std::printf("\n");
  } else {
    std::printf("fuses: none\n");
  }
  std::printf("lock: %02X (%s)\n", s.lock,
              (s.lock & 3) == 3 ? "unlocked" : (s.lock & 3) == 2 ? "write protected" : "write and read protected");
  std::printf("calibration:");
  if (!k.calibration_count) std::printf(" none");
  for (int i = 0; i < k.calibration_count; ++i) std::printf(" %02X", s.calibration[i]);
  std::printf("\n");
  std::printf("chip erases: %u\n", s.erase_cycles);
  if (s.flash.size() >= 2) {
    unsigned c = s.flash[s.flash.size() - 2] | (s.flash[s.flash.size() - 1] << 8);
    if (c == 0xFFFF) std::printf("erase counter: not initialized\n");
    else std::printf("erase counter: %u\n", c);
  }
}

int run_program(const options& o, const std::string& config_path) {
  const std::string dir = self_dir();
  // A library lacking one function stands in for the complete one.
  std::string ftdi_dir = dir + "/ftdi";
  for (const vt::fault_spec& f : o.cfg.faults)
    if (f.id == vt::fault_id::missing_function) ftdi_dir += "/missing/" + (f.has_value ? f.value : std::string("FT_SetVIDPID"));
  std::string ld_path = ftdi_dir + ":" + dir;
  if (const char* old = std::getenv("LD_LIBRARY_PATH"))
    if (*old) ld_path += std::string(":") + old;
  // The clock always; the parallel port unless --no-parport.
  std::string preload = dir + "/libvtclock.so";
  if (o.cfg.emulate_lpt) preload += ":" + dir + "/libvtlpt.so";
  if (const char* old = std::getenv("LD_PRELOAD"))
    if (*old) preload += std::string(":") + old;
  std::fflush(stdout);
  pid_t pid = fork();
  if (pid < 0) {
    std::perror("vtarget: fork");
    return 1;
  }
  if (pid == 0) {
    setenv("VTARGET_CONFIG", config_path.c_str(), 1);
    // The emulated ppdev paths, ':' separated: the N-th is the channel parport:N.
    const char* parports = o.cfg.positions.empty() ? o.cfg.parport.c_str() : "/dev/parport0:/dev/parport1:/dev/parport2";
    if (o.cfg.emulate_lpt) setenv("VTARGET_PARPORT", parports, 1);
    setenv("LD_PRELOAD", preload.c_str(), 1);
    setenv("LD_LIBRARY_PATH", ld_path.c_str(), 1);
    // A sanitizer build of the program would refuse a library preloaded before its runtime.
    std::string asan = "verify_asan_link_order=0";
    if (const char* old = std::getenv("ASAN_OPTIONS"))
      if (*old) asan = std::string(old) + ":" + asan;
    setenv("ASAN_OPTIONS", asan.c_str(), 1);
    std::vector<char*> args;
    for (const auto& a : o.program) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    std::fprintf(stderr, "vtarget: can't run %s: %s\n", args[0], std::strerror(errno));
    _exit(127);
  }
  // Ctrl-C and Ctrl-\ reach PROGRAM from the terminal; vtarget stays to keep
  // the chip's state. A termination meant for vtarget goes on to PROGRAM.
  program_pid = pid;
  struct sigaction ignore {}, pass_on {}, saved[4];
  ignore.sa_handler = SIG_IGN;
  pass_on.sa_handler = [](int sig) { kill(program_pid, sig); };
  const int sigs[4] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};
  for (int i = 0; i < 4; ++i) sigaction(sigs[i], i < 2 ? &ignore : &pass_on, &saved[i]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  for (int i = 0; i < 4; ++i) sigaction(sigs[i], &saved[i], nullptr);
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return 1;
}

int fail(const std::string& text) {
  std::fprintf(stderr, "vtarget: %s\n", text.c_str());
  return 1;
}

// One chip of the run: the single chip, or one --chip-at position.
struct run_chip {
  std::string label;       // the position as the user wrote it; empty for the single chip
  std::string where;       // the bench's name of the position
  std::string chip;        // as asked for; empty: from the state file or the default
  std::string state_file;
  const vt::chip_kind* kind = nullptr;
  vt::chip_state st;
};

// Loads the chip's state (or makes a factory-new chip) and applies the lock faults.
bool load_chip(run_chip& c, const std::string& fallback_chip, const std::vector<vt::fault_spec>& faults,
               std::string& error) {
  c.kind = vt::find_chip_kind(c.chip.empty() ? fallback_chip : c.chip);
  if (!c.state_file.empty() && file_exists(c.state_file)) {
    if (!vt::load_chip_state(c.state_file, c.st, error)) return false;
    const vt::chip_kind* saved = vt::find_chip_kind(c.st.chip);
    if (!saved) {
      error = "state file holds an unknown chip '" + c.st.chip + "'";
      return false;
    }
    if (!c.chip.empty() && saved != c.kind) {
      error = "state file " + c.state_file + " holds a " + c.st.chip + ", not a " + c.chip;
      return false;
    }
    c.kind = saved;
  } else {
    c.st = vt::chip_state::factory(*c.kind);
  }
  c.chip = c.kind->name();
  c.st.flash.resize(c.kind->flash_bytes, 0xFF);
  c.st.eeprom.resize(c.kind->eeprom_bytes, 0xFF);
  // A locked chip is locked for good, like one that was locked by a programmer.
  for (const vt::fault_spec& f : faults)
    if (f.id == vt::fault_id::locked && (f.at.empty() || f.at == c.where)) c.st.lock &= f.value == "write" ? 0xFE : 0xFC;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  options o;
  try {
    o = parse_args(argc, argv);
  } catch (const usage_error& e) {
    std::fprintf(stderr, "vtarget: %s\nTry 'vtarget --help'.\n", e.text.c_str());
    return 2;
  }
  if (o.help) {
    std::fputs(usage().c_str(), stdout);
    return 0;
  }
  if (o.list) {
    for (const auto& k : vt::chip_kinds()) {
      std::string n;
      for (const auto& a : k.names) n += (n.empty() ? "" : ", ") + a;
      std::printf("%-28s %06X  flash %6u  eeprom %4u\n", n.c_str(), k.signature, k.flash_bytes, k.eeprom_bytes);
    }
    return 0;
  }

  // The chips and their state: the single chip, or one per --chip-at position.
  std::string error;
  try {
    resolve_positions(o);
  } catch (const usage_error& e) {
    std::fprintf(stderr, "vtarget: %s\nTry 'vtarget --help'.\n", e.text.c_str());
    return 2;
  }
  std::vector<run_chip> chips;
  if (o.chips_at.empty()) {
    run_chip c;
    c.chip = o.chip_given ? o.cfg.chip : "";
    c.state_file = o.state_file;
    chips.push_back(c);
  }
  for (size_t i = 0; i < o.chips_at.size(); ++i) {
    run_chip c;
    c.label = o.chips_at[i].label;
    c.where = o.cfg.positions[i].where;
    c.chip = o.chips_at[i].chip;
    c.state_file = o.chips_at[i].state_file;
    for (vt::fault_spec f : o.chips_at[i].faults) {
      f.at = c.where;
      o.cfg.faults.push_back(f);
    }
    chips.push_back(c);
  }
  for (run_chip& c : chips)
    if (!load_chip(c, o.cfg.chip, o.cfg.faults, error)) return fail(error);
  if (o.chips_at.empty()) {
    o.cfg.chip = chips[0].chip;
    if (!o.flash_in.empty() && !read_binary(o.flash_in, chips[0].st.flash, error)) return fail(error);
    if (!o.eeprom_in.empty() && !read_binary(o.eeprom_in, chips[0].st.eeprom, error)) return fail(error);
  }

  // PROGRAM works on an image of each chip that it writes through as the chip
  // changes, so that even a program killed by a signal leaves its traces. The
  // session folder also holds the channels' locks.
  int status = 0;
  if (!o.program.empty()) {
    char tmpl[] = "/tmp/vtarget.XXXXXX";
    if (!mkdtemp(tmpl)) return fail("can't make a temporary directory");
    const std::string tmpdir = tmpl, config_path = tmpdir + "/config";
    vt::bench_config cfg = o.cfg;
    cfg.lock_dir = tmpdir;
    // The program opens the recording when it first drives the lines, maybe in another folder.
    char cwd[PATH_MAX];
    if (!cfg.vcd_file.empty() && cfg.vcd_file[0] != '/' && getcwd(cwd, sizeof cwd))
      cfg.vcd_file = std::string(cwd) + "/" + cfg.vcd_file;
    std::vector<std::string> images;
    for (size_t i = 0; i < chips.size(); ++i) {
      images.push_back(tmpdir + "/chip" + std::to_string(i) + ".image");
      if (o.chips_at.empty()) cfg.chip_image = images[i];
      else cfg.positions[i] = {chips[i].where, chips[i].chip, images[i]};
      if (status == 0 && !vt::write_chip_image(images[i], chips[i].st, error)) status = fail(error);
    }
    if (status == 0) {
      std::ofstream(config_path) << vt::format_config(cfg);
      if (!cfg.trace_file.empty()) std::ofstream(cfg.trace_file, std::ios::trunc);
      if (!cfg.vcd_file.empty() && !std::ofstream(cfg.vcd_file, std::ios::trunc))
        status = fail("can't write " + cfg.vcd_file);
      if (status == 0) status = run_program(o, config_path);
      for (size_t i = 0; i < chips.size(); ++i)
        if (!vt::read_chip_image(images[i], chips[i].st, error)) status = fail(error);
    }
    for (const std::string& image : images) std::remove(image.c_str());
    std::remove(config_path.c_str());
    if (DIR* d = opendir(tmpdir.c_str())) {  // the channels' lock files
      while (dirent* e = readdir(d))
        if (std::strncmp(e->d_name, "lock.", 5) == 0) std::remove((tmpdir + "/" + e->d_name).c_str());
      closedir(d);
    }
    rmdir(tmpdir.c_str());
  }
  for (const run_chip& c : chips) {
    if (!c.state_file.empty() && !vt::save_chip_state(c.state_file, c.st, error)) status = fail(error);
    if (!o.show) continue;
    if (!c.label.empty()) std::printf("position: %s\n", c.label.c_str());
    show(*c.kind, c.st);
  }
  if (!o.flash_out.empty() && !write_binary(o.flash_out, chips[0].st.flash, error)) status = fail(error);
  if (!o.eeprom_out.empty() && !write_binary(o.eeprom_out, chips[0].st.eeprom, error)) status = fail(error);
  return status;
}

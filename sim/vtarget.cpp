// vtarget: runs a program with a simulated AVR behind an emulated parallel
// port (and FTDI devices), then keeps the chip's state for the next run.
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

const char* const usage_text =
    "Usage: vtarget [OPTIONS] [-- PROGRAM [ARGS...]]\n"
    "\n"
    "Runs PROGRAM with one simulated AVR chip attached to an emulated parallel port\n"
    "(ppdev on --parport and direct I/O at 0x378, 0x278, 0x3BC) and, with --ftdi, to\n"
    "emulated FTDI devices (a libftd2xx.so put first on LD_LIBRARY_PATH). The chip's\n"
    "state is loaded before and saved after PROGRAM. Without PROGRAM, vtarget only\n"
    "loads, shows, imports or exports the state. The exit status is PROGRAM's\n"
    "(128 + signal number when it was killed); 2 for a usage error, 1 for others.\n"
    "\n"
    "Options (VALUE may also follow after '='):\n"
    "  --chip NAME          chip type (a name or alias of the device list, without \"AT\");\n"
    "                       default mega8, or the chip of an existing --state file\n"
    "  --state FILE         persistent chip state: loaded if FILE exists, else a factory-new\n"
    "                       chip; saved when PROGRAM ends. Without it every run starts new.\n"
    "  --wiring NAME        kaldo (default), stk200, stk300, byteblaster, byteblastermv,\n"
    "                       byteblaster2, xilinx: the adapter with its buffer and loop-backs;\n"
    "                       or map:ENTRIES in the pin-map syntax (signal=PIN[,PIN]..., ':'\n"
    "                       separated, '~' = inverted), parallel-port pins D0..D7, STROBE,\n"
    "                       ALF, INIT, SELECT, ERROR, ONLINE, PE, ACK, BUSY, or FTDI pins\n"
    "  --power MODE         external (default): the chip has its own supply; adapter: the\n"
    "                       chip is powered only while the adapter's power signal is on\n"
    "  --parport PATH       the emulated ppdev device (default /dev/parport0)\n"
    "  --no-parport         no parallel port at all (neither ppdev nor direct I/O)\n"
    "  --ftdi TYPE[:description=TEXT][:serial=TEXT]\n"
    "                       emulate an FTDI chip: ft2232c, ft2232h or ft4232h; repeatable.\n"
    "                       The simulated chip hangs on channel A of the first one.\n"
    "  --osc FREQ           the chip's oscillator, e.g. 8M, 800k, 3686400 (default: its\n"
    "                       factory clock); --osc xtal: clocked from the adapter's XTAL line\n"
    "  --lpt-cycle US       modelled duration of one port access (default 1.0)\n"
    "  --usb-latency US     modelled turn-around of one FTDI read (default by chip type)\n"
    "  --clock MODE         how the program's own time between its port accesses and USB\n"
    "                       calls counts on the modelled clock:\n"
    "                         host           measured on the host's clock, less the\n"
    "                                        emulation's own time; sleeps are real (default)\n"
    "                         deterministic  only a fixed 50 ns per call of a time function;\n"
    "                                        sleeps pass at once: the same run gives the same\n"
    "                                        trace, time stamps included\n"
    "                         realtime       as host, and every port access and USB transfer\n"
    "                                        also takes its modelled time for real (to watch\n"
    "                                        a run); says at the end when the host could not\n"
    "                                        keep up\n"
    "  --deterministic, --realtime   short for --clock deterministic, --clock realtime\n"
    "  --key MS[,MS2]       the adapter key is pressed MS milliseconds after the start on\n"
    "                       the modelled clock (and released at MS2)\n"
    "  --fault WHAT         inject a fault; repeatable. Chip faults:\n"
    "                         no-answer          MISO is never driven (reads high)\n"
    "                         out-of-step=N      out of step until N resync pulses (reset\n"
    "                                            pulses, or SCK pulses on AT90S parts; N 1..31)\n"
    "                         lose-step=N        drops a bit after N instructions\n"
    "                         busy-longer=MS     every write and erase takes MS ms longer\n"
    "                         miso=0|1           MISO stuck at 0 or 1\n"
    "                         signature=XXXXXX   answers with this signature (hex)\n"
    "                         locked[=write]     lock bits programmed (both, or LB1 only);\n"
    "                                            saved with the state like a real lock\n"
    "                       Parallel-port faults:\n"
    "                         ppdev-release-error  PPRELEASE fails (EIO); the port stays claimed\n"
    "                       FTDI faults (see the FTDI emulation for the values):\n"
    "                         usb-read-error, usb-write-error, usb-short-read,\n"
    "                         usb-short-write, missing-function=NAME, no-ftdi\n"
    "  --trace FILE         write every ISP instruction with the chip's reply (identical ones\n"
    "                       in a row as one line ending in xN), every change of RESET,\n"
    "                       power, enable and the LEDs, and the final line levels, with\n"
    "                       modelled time stamps in microseconds\n"
    "  --vcd FILE           record the lines between adapter and chip (sck, mosi, miso,\n"
    "                       reset, xtal, power, enable, led_ok, led_error, key) as a Value\n"
    "                       Change Dump on the modelled clock (1 ns); miso is z while the\n"
    "                       chip leaves it floating, the buffered lines while the buffer is off\n"
    "  --vcd-lines all|isp  record every line (default), or only sck, mosi, miso and reset\n"
    "  --vcd-window FROM[,TO]  record only from FROM to TO milliseconds of modelled time\n"
    "  --show               print the chip state (after PROGRAM, if any)\n"
    "  --flash-in FILE      load the whole FLASH from a raw binary file before PROGRAM\n"
    "  --eeprom-in FILE     the same for the EEPROM\n"
    "  --flash-out FILE     save the whole FLASH as raw binary after PROGRAM\n"
    "  --eeprom-out FILE    the same for the EEPROM\n"
    "  --list               list the chips that can be simulated\n"
    "  --help               this text\n"
    "\n"
    "\n"
    "Time: the chip, the trace and PROGRAM's time functions share one modelled clock.\n"
    "It advances by the modelled cost of every port access and USB transfer and by\n"
    "PROGRAM's own time between them, so what PROGRAM measures of the port is what the\n"
    "chip sees, and its waits reach the chip as on hardware.\n"
    "\n"
    "Example: vtarget --chip tiny13 --state t13.state -- zindle +tiny13 -ew prog.hex\n";

struct options {
  vt::bench_config cfg;
  std::string state_file;
  bool chip_given = false;
  bool show = false, list = false, help = false;
  std::string flash_in, flash_out, eeprom_in, eeprom_out;
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

double parse_number(const std::string& opt, const std::string& v) {
  char* end = nullptr;
  double d = std::strtod(v.c_str(), &end);
  if (v.empty() || *end) throw usage_error{"bad number '" + v + "' for " + opt};
  return d;
}

double parse_frequency(const std::string& v) {
  char* end = nullptr;
  double d = std::strtod(v.c_str(), &end);
  std::string unit = end;
  for (auto& c : unit) c = char(std::tolower((unsigned char)c));
  if (unit.size() > 2 && unit.compare(unit.size() - 2, 2, "hz") == 0) unit.resize(unit.size() - 2);
  if (unit == "k") d *= 1e3;
  else if (unit == "m") d *= 1e6;
  else if (!unit.empty() || v.empty()) throw usage_error{"bad frequency '" + v + "'"};
  if (d <= 0) throw usage_error{"bad frequency '" + v + "'"};
  return d;
}

const char* const known_faults[] = {"no-answer",      "out-of-step",     "lose-step",       "busy-longer",
                                    "miso",           "signature",       "locked",          "usb-read-error",
                                    "usb-write-error", "usb-short-read", "usb-short-write", "missing-function",
                                    "no-ftdi",         "ppdev-release-error"};

vt::ftdi_entry parse_ftdi(const std::string& v) {
  vt::ftdi_entry e;
  size_t colon = v.find(':');
  e.type = v.substr(0, colon);
  for (auto& c : e.type) c = char(std::tolower((unsigned char)c));
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

options parse_args(int argc, char** argv) {
  options o;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a == "--") {
      for (++i; i < argc; ++i) o.program.push_back(argv[i]);
      break;
    }
    std::string value;
    bool has_value = false;
    auto eq = a.find('=');
    if (a.compare(0, 2, "--") == 0 && eq != std::string::npos) {
      value = a.substr(eq + 1);
      a = a.substr(0, eq);
      has_value = true;
    }
    auto arg = [&]() -> std::string {
      if (has_value) return value;
      if (i + 1 >= argc) throw usage_error{a + " needs a value"};
      return argv[++i];
    };
    if (a == "--help" || a == "-h") o.help = true;
    else if (a == "--list") o.list = true;
    else if (a == "--show") o.show = true;
    else if (a == "--realtime") o.cfg.clock = vt::clock_mode::realtime;
    else if (a == "--clock") {
      const std::string m = arg();
      if (!vt::parse_clock_mode(m, o.cfg.clock)) throw usage_error{"--clock takes host, deterministic or realtime"};
    }
    else if (a == "--deterministic") o.cfg.clock = vt::clock_mode::deterministic;
    else if (a == "--no-parport") o.cfg.emulate_lpt = false;
    else if (a == "--chip") {
      o.cfg.chip = arg();
      o.chip_given = true;
      if (!vt::find_chip_kind(o.cfg.chip)) throw usage_error{"unknown chip '" + o.cfg.chip + "' (see --list)"};
    } else if (a == "--state") o.state_file = arg();
    else if (a == "--wiring") {
      std::string w = arg();
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
        for (auto& c : pin) c = char(std::tolower((unsigned char)c));
        size_t bus = pin.find("bus");
        bool ftdi = bus != std::string::npos && bus >= 1 && bus <= 2 && pin.size() == bus + 4 &&
                    pin[bus + 3] >= '0' && pin[bus + 3] <= '7';
        if (!ftdi) throw usage_error{"invalid pin name '" + pin + "' in --wiring"};
      }
    } else if (a == "--power") {
      std::string p = arg();
      if (p == "adapter") o.cfg.power_from_adapter = true;
      else if (p == "external") o.cfg.power_from_adapter = false;
      else throw usage_error{"--power takes adapter or external"};
    } else if (a == "--parport") o.cfg.parport = arg();
    else if (a == "--ftdi") o.cfg.ftdi.push_back(parse_ftdi(arg()));
    else if (a == "--osc") {
      std::string f = arg();
      if (f == "xtal") o.cfg.osc_xtal = true;
      else o.cfg.osc_hz = parse_frequency(f);
    } else if (a == "--lpt-cycle") {
      o.cfg.lpt_cycle_us = parse_number(a, arg());
      if (o.cfg.lpt_cycle_us <= 0) throw usage_error{"--lpt-cycle must be positive"};
    } else if (a == "--usb-latency") {
      o.cfg.usb_latency_us = parse_number(a, arg());
      if (o.cfg.usb_latency_us < 0) throw usage_error{"--usb-latency must not be negative"};
    } else if (a == "--key") {
      std::string k = arg();
      auto comma = k.find(',');
      o.cfg.key_press_ms = parse_number(a, k.substr(0, comma));
      if (comma != std::string::npos) o.cfg.key_release_ms = parse_number(a, k.substr(comma + 1));
    } else if (a == "--fault") {
      vt::fault_spec f = vt::parse_fault(arg());
      bool known = false;
      for (const char* k : known_faults) known = known || f.name == k;
      if (!known) throw usage_error{"unknown fault '" + f.name + "'"};
      o.cfg.faults.push_back(f);
    } else if (a == "--trace") o.cfg.trace_file = arg();
    else if (a == "--vcd") o.cfg.vcd_file = arg();
    else if (a == "--vcd-lines") parse_vcd_lines(arg(), o.cfg);
    else if (a == "--vcd-window") parse_vcd_window(arg(), o.cfg);
    else if (a == "--flash-in") o.flash_in = arg();
    else if (a == "--flash-out") o.flash_out = arg();
    else if (a == "--eeprom-in") o.eeprom_in = arg();
    else if (a == "--eeprom-out") o.eeprom_out = arg();
    else throw usage_error{"unknown option '" + a + "'"};
  }
  return o;
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
    if (f.name == "missing-function") ftdi_dir += "/missing/" + (f.has_value ? f.value : std::string("FT_SetVIDPID"));
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
    if (o.cfg.emulate_lpt) setenv("VTARGET_PARPORT", o.cfg.parport.c_str(), 1);
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
    std::fputs(usage_text, stdout);
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

  // The chip and its state.
  std::string error;
  const vt::chip_kind* kind = vt::find_chip_kind(o.cfg.chip);
  vt::chip_state st;
  if (!o.state_file.empty() && file_exists(o.state_file)) {
    if (!vt::load_chip_state(o.state_file, st, error)) return fail(error);
    const vt::chip_kind* saved = vt::find_chip_kind(st.chip);
    if (!saved) return fail("state file holds an unknown chip '" + st.chip + "'");
    if (o.chip_given && saved != kind)
      return fail("state file " + o.state_file + " holds a " + st.chip + ", not a " + o.cfg.chip);
    kind = saved;
    o.cfg.chip = saved->name();
  } else {
    st = vt::chip_state::factory(*kind);
  }
  st.flash.resize(kind->flash_bytes, 0xFF);
  st.eeprom.resize(kind->eeprom_bytes, 0xFF);
  if (!o.flash_in.empty() && !read_binary(o.flash_in, st.flash, error)) return fail(error);
  if (!o.eeprom_in.empty() && !read_binary(o.eeprom_in, st.eeprom, error)) return fail(error);
  // A locked chip is locked for good, like one that was locked by a programmer.
  for (const vt::fault_spec& f : o.cfg.faults)
    if (f.name == "locked") st.lock &= f.value == "write" ? 0xFE : 0xFC;

  // PROGRAM works on an image of the chip that it writes through as the chip
  // changes, so that even a program killed by a signal leaves its traces.
  int status = 0;
  if (!o.program.empty()) {
    char tmpl[] = "/tmp/vtarget.XXXXXX";
    if (!mkdtemp(tmpl)) return fail("can't make a temporary directory");
    const std::string tmpdir = tmpl, image = tmpdir + "/chip.image", config_path = tmpdir + "/config";
    vt::bench_config cfg = o.cfg;
    cfg.chip_image = image;
    // The program opens the recording when it first drives the lines, maybe in another folder.
    char cwd[PATH_MAX];
    if (!cfg.vcd_file.empty() && cfg.vcd_file[0] != '/' && getcwd(cwd, sizeof cwd))
      cfg.vcd_file = std::string(cwd) + "/" + cfg.vcd_file;
    if (!vt::write_chip_image(image, st, error)) {
      status = fail(error);
    } else {
      std::ofstream(config_path) << vt::format_config(cfg);
      if (!cfg.trace_file.empty()) std::ofstream(cfg.trace_file, std::ios::trunc);
      if (!cfg.vcd_file.empty() && !std::ofstream(cfg.vcd_file, std::ios::trunc))
        status = fail("can't write " + cfg.vcd_file);
      if (status == 0) status = run_program(o, config_path);
      if (!vt::read_chip_image(image, st, error)) status = fail(error);
    }
    std::remove(image.c_str());
    std::remove(config_path.c_str());
    rmdir(tmpdir.c_str());
  }
  if (!o.state_file.empty() && !vt::save_chip_state(o.state_file, st, error)) status = fail(error);
  if (o.show) show(*kind, st);
  if (!o.flash_out.empty() && !write_binary(o.flash_out, st.flash, error)) status = fail(error);
  if (!o.eeprom_out.empty() && !write_binary(o.eeprom_out, st.eeprom, error)) status = fail(error);
  return status;
}

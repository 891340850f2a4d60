// The virtual target's run configuration: written by the vtarget command into a
// file, read back by the emulations inside the program it runs (see bench.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/bench/faults.h"

namespace vt {

// One --ftdi entry: a dual or quad FTDI chip on the emulated USB bus.
struct ftdi_entry {
  std::string type;          // "ft2232c", "ft2232h" or "ft4232h"
  bool has_description = false;
  std::string description;   // base description (without the channel letter) when given
  bool has_serial = false;
  std::string serial;        // serial number when given
};

// One --fault NAME[=VALUE] entry.
struct fault_spec {
  fault_id id = fault_id::unknown;  // from `name` (faults.h)
  std::string name;
  std::string value;         // text after '=', empty when none
  bool has_value = false;
  // The value as a number (decimal or 0x hex); `fallback` when there is none or it is not a number.
  long number(long fallback = 0) const;
  std::string at;            // the chip position it is confined to (chip_position::where); empty: every one
};

// One chip of a station (--chip-at): where it hangs, what it is, and its
// contents. `where` is "ftdi:I:L" (channel L of the I-th --ftdi entry,
// counted from 0) or "parport:N" (/dev/parportN and its direct I/O base).
struct chip_position {
  std::string where;
  std::string chip;
  std::string image;         // chip_image.h file, written through by whichever process opens the channel
};

// How the program's own time (between its calls into the emulations) reaches
// the modelled clock.
enum class clock_mode : uint8_t {
  host,           // measured on the host's clock, less the emulations' own time; sleeps are real
  deterministic,  // not measured: a fixed cost per time function call, sleeps advance the clock at once
  realtime,       // as host, and every emulated call also lasts its modelled time for real
};

struct bench_config {
  std::string chip = "mega8";          // chip name as given on the command line
  std::string chip_image;              // the chip's contents, mapped and written through (chip_image.h); empty: none
  std::vector<chip_position> positions;  // --chip-at: one chip per channel; empty: the one chip above
  std::string lock_dir;                // vtarget's session folder, where the channels' locks live; empty: none
  std::string wiring = "kaldo";        // wiring name, or "map" for a pin map
  std::string wiring_map;              // for "map": the raw text after "map:" (zindle's pin-map syntax)
  bool power_from_adapter = false;     // --power adapter
  std::string parport = "/dev/parport0";
  bool emulate_lpt = true;             // ppdev and direct I/O are emulated
  std::vector<ftdi_entry> ftdi;        // --ftdi entries, in order
  bool osc_xtal = false;               // --osc xtal: the chip runs from the adapter's XTAL line
  double osc_hz = 0;                   // --osc FREQ; 0: the chip's factory clock
  double lpt_cycle_us = 1.0;           // modelled duration of one port access
  double usb_latency_us = -1;          // modelled turn-around of one FTDI read; < 0: default by chip type
  clock_mode clock = clock_mode::host;
  std::vector<fault_spec> faults;
  std::string trace_file;              // empty: no trace
  std::string vcd_file;                // empty: no waveform recording (--vcd)
  bool vcd_isp_only = false;           // record only SCK, MOSI, MISO and RESET
  double vcd_from_ms = 0;              // record from this modelled time on
  double vcd_to_ms = -1;               // and up to this one; < 0: to the end
  double key_press_ms = -1;            // >= 0: the adapter key is pressed from this modelled time on (ms after the start)
  double key_release_ms = -1;          // >= 0: and released again at this modelled time
};

// Text form, one "key=value" line per setting (values escaped); parse fails with a message in `error`.
std::string format_config(const bench_config& c);
bool parse_config(const std::string& text, bench_config& c, std::string& error);

// Parses "NAME[=VALUE]"; an unknown NAME gives fault_id::unknown.
fault_spec parse_fault(const std::string& text);

// "host", "deterministic", "realtime"; parse fails on any other text.
const char* clock_mode_name(clock_mode m);
bool parse_clock_mode(const std::string& text, clock_mode& m);

}  // namespace vt

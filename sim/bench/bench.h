// The process-wide test bench inside a program run by vtarget: configuration,
// the one simulated chip, the modelled clock, the trace and the state save.
// The parallel-port emulation and the FTDI emulation both attach to it.
//
// How an emulation attaches
// -------------------------
// * Link the CMake target `vtbench` (the shared library libvtbench.so in
//   ${CMAKE_BINARY_DIR}/sim; vtarget puts that folder on LD_LIBRARY_PATH).
// * Nothing needs initialising: the first call of any function below reads the
//   configuration named by the environment variable VTARGET_CONFIG (a file that
//   vtarget writes), creates the chip from the state file and registers the
//   state save for process exit. Without VTARGET_CONFIG, `active()` is false and
//   a default configuration (mega8, no state file, no trace) is used, so tests
//   may still call everything in-process.
// * Time: the bench keeps one modelled clock in nanoseconds. An emulation calls
//   `advance_ns()` for what each of its accesses costs (one port access:
//   config().lpt_cycle_us; one FTDI transfer: its USB turn-around plus the bits
//   shifted at the MPSSE clock) BEFORE the access takes effect, then applies the
//   access at `now_ns()`. With --realtime, advance_ns() also sleeps so that the
//   real time keeps up with the modelled one.
// * Outputs: whenever the adapter's output levels may have changed, call
//   `set_adapter_lines()` with the levels as they arrive at the target side of
//   the adapter (after the wiring's inversions and buffers, i.e. electrical
//   levels: reset=false means RESET low). The bench applies --power (the chip
//   only has supply from `power` when --power adapter), the buffer enable and
//   the faults, forwards the pin levels to the chip, and traces changes of
//   RESET, power, enable and the LEDs. Calling it with unchanged levels is cheap.
// * Inputs: `miso()` is the MISO level at the adapter at now_ns() (floating
//   reads high; stuck-at faults applied). `key_pressed()` is the adapter key.
// * Both emulations may be active in one process; they drive the same chip, and
//   the last set_adapter_lines() call wins.
// * Faults: `fault("name")` returns the --fault entry of that name or nullptr.
//   Names the bench itself handles: "no-answer", "out-of-step", "lose-step",
//   "busy-longer", "miso", "signature", "locked" (chip side). Names meant for
//   the FTDI emulation: "usb-read-error", "usb-write-error", "usb-short-read",
//   "usb-short-write", "missing-function", "no-ftdi" (their values as that
//   emulation documents them in `vtarget --help`).
// * At exit (when the library is unloaded, after the program's static
//   destructors; or at an explicit `finish()`), the bench traces the line levels
//   the adapter left, and saves the chip's state file.
#pragma once

#include <cstdint>
#include <string>

#include "sim/bench/config.h"
#include "sim/chip/line_target.h"

namespace vt {

// Levels at the target side of the adapter (electrical, true = high / on).
struct adapter_lines {
  bool power = false;    // the adapter's supply output for the target
  bool enable = true;    // the buffer drives the target lines (true when there is no buffer)
  bool reset = true;
  bool sck = false;
  bool mosi = false;
  bool xtal = false;
  bool led_ok = false;   // LED lit
  bool led_error = false;
  bool operator==(const adapter_lines& o) const;
  bool operator!=(const adapter_lines& o) const { return !(*this == o); }
};

namespace bench {

bool active();                      // running under vtarget (VTARGET_CONFIG set)
const bench_config& config();

// The chip model, as the pin-level seam. Emulations normally go through
// set_adapter_lines()/miso() instead, which add power, faults and trace.
line_target& chip();

uint64_t now_ns();
void advance_ns(uint64_t ns);

void set_adapter_lines(const adapter_lines& lines);
const adapter_lines& current_lines();
bool miso();
bool key_pressed();

// The --fault entry with this name, nullptr when none.
const fault_spec* fault(const char* name);

// One trace line "<modelled time> <text>"; no-op without --trace.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Traces the final line levels and saves the chip state; runs once, also at exit.
void finish();

}  // namespace bench
}  // namespace vt

// The process-wide test bench inside a program run by vtarget: configuration,
// the simulated chip of this process (the one chip, or the one on the channel
// it opened), the modelled clock, the trace and the chip's image.
// The parallel-port emulation and the FTDI emulation both attach to it.
//
// How an emulation attaches
// -------------------------
// * Link the CMake target `vtbench` (the shared library libvtbench.so in
//   ${CMAKE_BINARY_DIR}/sim; vtarget puts that folder on LD_LIBRARY_PATH).
// * Nothing needs initialising: the first call of any function below reads the
//   configuration named by the environment variable VTARGET_CONFIG (a file that
//   vtarget writes) and creates the chip from its image file (with chip
//   positions, at `attach()`). Without
//   VTARGET_CONFIG, `active()` is false and a default configuration (mega8, no
//   image, no trace, the deterministic clock) is used, so tests may still call
//   everything in-process.
// * Time: the bench keeps one modelled clock in nanoseconds, which the chip,
//   the trace, the key and the program itself all see (the clock preload
//   libvtclock.so answers the program's time functions from it). An emulation
//   wraps every call the program makes into it (a ppdev ioctl, a trapped port
//   instruction, a D2XX function) in an `emulation_call`, and inside it calls
//   `advance_ns()` for what each of its accesses costs (one port access:
//   config().lpt_cycle_us; one FTDI transfer: its USB turn-around plus the bits
//   shifted at the MPSSE clock) BEFORE the access takes effect, then applies the
//   access at `now_ns()`. The program's own time between two such calls counts
//   as config().clock says: measured on the host, less the emulations' own time
//   (host, the default); not at all, only a fixed cost per time function call,
//   with sleeps taken on the modelled clock at once (deterministic); measured,
//   and every call also lasts its modelled time for real (realtime). So a
//   program measures exactly what the chip is charged, and its waits and its
//   computing reach the chip as they would on hardware.
// * Outputs: whenever the adapter's output levels may have changed, call
//   `set_adapter_lines()` with the levels as they arrive at the target side of
//   the adapter (after the wiring's inversions and buffers, i.e. electrical
//   levels: reset=false means RESET low). The bench applies --power (the chip
//   only has supply from `power` when --power adapter), the buffer enable and
//   the faults, forwards the pin levels to the chip, traces changes of RESET,
//   power, enable and the LEDs, and records every line with the chip's MISO
//   for --vcd (vcd_writer.h). Calling it with unchanged levels is cheap.
// * Inputs: `miso()` is the MISO level at the adapter at now_ns() (floating
//   reads high; stuck-at faults applied). `key_pressed()` is the adapter key.
// * Both emulations may be active in one process; they drive the same chip, and
//   the last set_adapter_lines() call wins.
// * Faults: `fault(fault_id::...)` returns the --fault entry of that kind
//   (faults.h, the one table of names) or nullptr; a fault confined to a chip
//   position counts only in the process attached there. The bench itself
//   handles the chip faults; the parallel-port and FTDI emulations theirs.
// * Several chips (--chip-at): the configuration lists chip positions, each a
//   channel (an FTDI channel, a parallel port) with its own chip and image. A
//   process holds no chip until an emulation calls `attach(where)` as the
//   program opens (claims) that channel: the channel is then locked for the
//   process (flock on a file in config().lock_dir, vtarget's session folder,
//   which the kernel drops when the process ends; a test's bench without that
//   folder locks nothing) and the chip of that position, if any, is made from
//   its image. A channel held by another process refuses the attach, so
//   the emulation answers as the real device would (FT_DEVICE_NOT_OPENED, a
//   failed PPCLAIM). `detach(where)` unlocks it again (FT_Close, PPRELEASE).
//   A process works with one chip: attaching a second position with a chip is
//   refused. Without positions every channel leads to the one chip, and
//   attach only keeps the channel exclusive between processes.
// * The chip's contents live in the image file vtarget hands over
//   (config().chip_image, chip_image.h): every write and erase goes through to
//   it as it starts, so it holds what was done to the chip however the program
//   ends. At exit (when the library is unloaded, after the program's static
//   destructors; or at an explicit `finish()`), the bench traces the line levels
//   the adapter left; with --realtime it says on standard error when the host
//   could not keep up.
#pragma once

#include <time.h>

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

// ---- the one clock ----
uint64_t now_ns();
void advance_ns(uint64_t ns);

// Brackets one call of the program into an emulation. `trapped`: the call is
// a port instruction that reached the emulation through a trap, whose
// delivery (set_trap_overhead_ns) is the emulation's time, not the program's.
class emulation_call {
 public:
  explicit emulation_call(bool trapped = false);
  ~emulation_call();
  emulation_call(const emulation_call&) = delete;
  emulation_call& operator=(const emulation_call&) = delete;
};
void set_trap_overhead_ns(uint64_t ns);

// The program's time functions (the clock preload): the modelled clock on the
// scale of clock `id` (wall clock, monotonic, boot time); false for clocks that
// are not modelled (CPU time), which the preload leaves to the host.
bool client_time(clockid_t id, timespec& ts);
// A sleep of the program: true when the modelled clock took it (deterministic);
// false when the program is to sleep for real (its time then counts on return).
bool client_sleep(uint64_t ns);

void set_adapter_lines(const adapter_lines& lines);
const adapter_lines& current_lines();
bool miso();
bool key_pressed();

// The --fault entry of this kind that applies here, nullptr when none.
const fault_spec* fault(fault_id id);

// Takes the channel `where` ("ftdi:I:L", "parport:N"; chip_position) for this
// process; false when another process holds it or it would be a second chip.
bool attach(const std::string& where);
void detach(const std::string& where);

// One trace line "<modelled time> <text>"; no-op without --trace.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
// An instruction the chip framed and its reply: "isp IN -> OUT", identical
// ones in a row as one line with " xN" (N > 1) at the time of the first.
void trace_instruction(const uint8_t in[4], const uint8_t out[4]);

// Traces the final line levels (and reports a --realtime run that fell behind); runs once, also at exit.
void finish();

}  // namespace bench
}  // namespace vt

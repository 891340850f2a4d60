// The table of injectable faults.
#include "sim/bench/faults.h"

#include <iterator>

namespace vt {
namespace {

const fault_kind kinds[] = {
    {fault_id::no_answer, "no-answer", fault_side::chip, "", "MISO is never driven (reads high)"},
    {fault_id::out_of_step, "out-of-step", fault_side::chip, "N",
     "out of step until N resync pulses\n(reset pulses, or SCK pulses on AT90S\nparts; N 1..31)"},
    {fault_id::lose_step, "lose-step", fault_side::chip, "N", "drops a bit after N instructions"},
    {fault_id::busy_longer, "busy-longer", fault_side::chip, "MS", "every write and erase takes MS ms\nlonger"},
    {fault_id::miso, "miso", fault_side::chip, "0|1", "MISO stuck at 0 or 1"},
    {fault_id::signature, "signature", fault_side::chip, "XXXXXX", "answers with this signature (hex)"},
    {fault_id::locked, "locked", fault_side::chip, "[write]",
     "lock bits programmed (both, or LB1\nonly); saved with the state like a real\nlock"},
    {fault_id::ppdev_release_error, "ppdev-release-error", fault_side::parport, "",
     "PPRELEASE fails (EIO); the port stays\nclaimed"},
    {fault_id::usb_read_error, "usb-read-error", fault_side::ftdi, "[N]",
     "FT_Read fails with FT_IO_ERROR from\nits N-th call on (default 1)"},
    {fault_id::usb_write_error, "usb-write-error", fault_side::ftdi, "[N]",
     "FT_Write fails with FT_IO_ERROR from\nits N-th call on; nothing is sent"},
    {fault_id::usb_short_read, "usb-short-read", fault_side::ftdi, "[N]",
     "FT_Read delivers half the bytes asked\nfor, from its N-th call on"},
    {fault_id::usb_short_write, "usb-short-write", fault_side::ftdi, "[N]",
     "FT_Write sends (and reports) half the\nbytes, from its N-th call on"},
    {fault_id::missing_function, "missing-function", fault_side::ftdi, "[NAME]",
     "a library without the export NAME\n(default FT_SetVIDPID)"},
    {fault_id::no_ftdi, "no-ftdi", fault_side::ftdi, "", "no devices on the bus"},
};

}  // namespace

const fault_kind* fault_kinds_begin() { return std::begin(kinds); }
const fault_kind* fault_kinds_end() { return std::end(kinds); }

fault_id find_fault(const std::string& name) {
  for (const fault_kind& k : kinds)
    if (name == k.name) return k.id;
  return fault_id::unknown;
}

const char* fault_name(fault_id id) {
  for (const fault_kind& k : kinds)
    if (k.id == id) return k.name;
  return "unknown";
}

}  // namespace vt
